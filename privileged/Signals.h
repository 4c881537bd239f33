// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>
#include <initializer_list>

namespace kestrelnet::privileged::signals {

inline sigset_t set(std::initializer_list<int> members) {
    sigset_t result;
    // Without "::", because these may be macros.
    sigemptyset(&result);
    for (const int signal : members) {
        sigaddset(&result, signal);
    }
    return result;
}

/// Restores the default action of every signal and unblocks all.
inline void reset() {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal) {
        ::sigaction(signal, &standard, nullptr);
    }
    const sigset_t none = set({});
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

} // namespace kestrelnet::privileged::signals
