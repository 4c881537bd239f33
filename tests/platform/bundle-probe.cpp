// SPDX-License-Identifier: MIT
// Prints the bundle that it finds itself in.
#include "platform/Bundle.h"

#include <QCoreApplication>

#include <cstdio>

int main(int count, char** arguments) {
    const QCoreApplication application(count, arguments);
    std::fputs(kestrelnet::bundle::mainBundlePath().c_str(), stdout);
}
