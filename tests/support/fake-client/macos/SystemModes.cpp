// SPDX-License-Identifier: MIT
#include "tests/support/fake-client/Modes.h"

namespace fakeClient {

std::span<const Mode> systemModes() {
    return {};
}

} // namespace fakeClient
