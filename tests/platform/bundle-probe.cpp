// SPDX-License-Identifier: MIT
// Prints the path of the bundle that it is part of.
#include "platform/Bundle.h"

#include <QCoreApplication>

#include <cstdio>

int main(int count, char** arguments) {
    const QCoreApplication application(count, arguments);
    return std::fputs(kestrelnet::bundle::mainBundlePath().c_str(), stdout) < 0 ? 1 : 0;
}
