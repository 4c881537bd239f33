// SPDX-License-Identifier: MIT
#include "tests/platform/linux/HangingNames.h"

#include <condition_variable>
#include <dlfcn.h>
#include <mutex>
#include <netdb.h>
#include <string_view>

namespace kestrelnet::hangingNames {

namespace {

struct State {
    std::mutex mutex;
    std::condition_variable changed;
    std::size_t hanging = 0;
    bool isReleased = true;
};

/// Never destroyed: calls may outlive the main thread's end.
State& state() {
    static auto* const state = new State;
    return *state;
}

int hang() {
    std::unique_lock lock(state().mutex);
    ++state().hanging;
    state().changed.wait(lock, [] { return state().isReleased; });
    --state().hanging;
    return EAI_AGAIN;
}

} // namespace

std::size_t hanging() {
    const std::lock_guard lock(state().mutex);
    return state().hanging;
}

void hold() {
    const std::lock_guard lock(state().mutex);
    state().isReleased = false;
}

void release() {
    const std::lock_guard lock(state().mutex);
    state().isReleased = true;
    state().changed.notify_all();
}

} // namespace kestrelnet::hangingNames

extern "C" [[gnu::visibility("default")]] int
getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** result) {
    const std::string_view host = name == nullptr ? "" : name;
    if (host == "hangs.test") {
        return kestrelnet::hangingNames::hang();
    }
    static auto* const resolve =
        reinterpret_cast<decltype(&getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    return resolve(host == "service.test" ? "127.0.0.1" : name, service, hints, result);
}
