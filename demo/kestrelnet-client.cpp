// SPDX-License-Identifier: MIT
// The demonstration client. It writes the lines of a tunnel client, at a realistic pace, and
// creates no tunnel. It needs no privileges, and ends at once on SIGTERM.
//
// KESTRELNET_DEMO_PACE is the time between its lines, in percent of the default. 0 means no delay.

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <sys/select.h>

namespace {

struct Line {
    std::int64_t milliseconds; // after the line before
    const char* text;
};

constexpr Line connectAndMove[] = {
    {0, "Demonstration client: speaks like a tunnel client, tunnels nothing"},
    {700, "Authenticating this device"},
    {900, "Discovered home server: Zurich (198.51.100.7)"},
    {900, "Connected to relay"},
    {1200, "Split-tunnel routes: 203.0.113.0/24, 2001:db8::/32"},
    {6000, "Network changed, looking for a new path"},
    {2500, "Split-tunnel routes: 203.0.113.0/24, 2001:db8::/32"},
};
// Writing it also detects that the output has no reader.
constexpr Line keepAlive = {10000, "Keepalive answered in 21 ms"};

volatile std::sig_atomic_t endRequested = 0;

void requestEnd(int /*signal*/) {
    endRequested = 1;
}

std::int64_t paceInPercent() {
    const char* text = std::getenv("KESTRELNET_DEMO_PACE");
    if (text == nullptr) {
        return 100;
    }
    return std::clamp<std::int64_t>(std::strtoll(text, nullptr, 10), 0, 10000);
}

/// Waits; returns false if an end was requested. SIGTERM is delivered only here.
bool pause(std::int64_t milliseconds, const sigset_t& waitMask) {
    const timespec time = {.tv_sec = static_cast<std::time_t>(milliseconds / 1000),
                           .tv_nsec = static_cast<long>(milliseconds % 1000) * 1'000'000};
    const int result = ::pselect(0, nullptr, nullptr, nullptr, &time, &waitMask);
    return result == 0 && endRequested == 0;
}

bool writeLine(const char* text) {
    return std::puts(text) >= 0 && std::fflush(stdout) == 0;
}

/// Returns the signal mask to wait with.
sigset_t blockTerminate() {
    struct sigaction action {};
    action.sa_handler = requestEnd;
    ::sigaction(SIGTERM, &action, nullptr);
    sigset_t terminate;
    sigset_t before;
    sigemptyset(&terminate);
    sigaddset(&terminate, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &terminate, &before);
    sigdelset(&before, SIGTERM);
    return before;
}

bool waitAndWrite(const Line& line, std::int64_t pace, const sigset_t& waitMask) {
    return pause(line.milliseconds * pace / 100, waitMask) && writeLine(line.text);
}

} // namespace

int main() {
    for (const char* name : {"DEVICE_API_KEY", "AUTH_URL", "RELAY_ADDR"}) {
        if (std::getenv(name) == nullptr) {
            static_cast<void>(std::fprintf(stderr, "kestrelnet-client: %s is not set\n", name));
            return 2;
        }
    }
    const sigset_t waitMask = blockTerminate();
    const std::int64_t pace = paceInPercent();
    const bool moved = std::ranges::all_of(
        connectAndMove, [&](const Line& line) { return waitAndWrite(line, pace, waitMask); });
    // At the default pace, so that pace 0 does not cause a flood.
    while (moved && waitAndWrite(keepAlive, 100, waitMask)) {
    }
    if (endRequested == 0) {
        return 1;
    }
    return writeLine("Told to stop; goodbye") ? 0 : 1;
}
