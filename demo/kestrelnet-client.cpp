// SPDX-License-Identifier: MIT
// A stand-in for the tunnel client, for trying the application out: it says what a client says, at
// the pace of one, and tunnels nothing. It needs no rights and ends at once on SIGTERM.
//
// KESTRELNET_DEMO_PACE is the time between its lines in percent of the usual; 0 means at once.

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
// Also how it learns that nobody reads any more.
constexpr Line keepAlive = {10000, "Keepalive answered in 21 ms"};

volatile std::sig_atomic_t endWanted = 0;

void wantEnd(int /*signal*/) {
    endWanted = 1;
}

std::int64_t paceInPercent() {
    const char* text = std::getenv("KESTRELNET_DEMO_PACE");
    if (text == nullptr) {
        return 100;
    }
    return std::clamp<std::int64_t>(std::strtoll(text, nullptr, 10), 0, 10000);
}

/// Whether the time has passed and no end is wanted. SIGTERM is let in only here.
bool pause(std::int64_t milliseconds, const sigset_t& letIn) {
    const timespec time = {.tv_sec = static_cast<std::time_t>(milliseconds / 1000),
                           .tv_nsec = static_cast<long>(milliseconds % 1000) * 1'000'000};
    const int result = ::pselect(0, nullptr, nullptr, nullptr, &time, &letIn);
    return result == 0 && endWanted == 0;
}

bool say(const char* text) {
    return std::puts(text) >= 0 && std::fflush(stdout) == 0;
}

/// The signals to let in while it waits.
sigset_t holdBackTerminate() {
    struct sigaction action {};
    action.sa_handler = wantEnd;
    ::sigaction(SIGTERM, &action, nullptr);
    sigset_t terminate;
    sigset_t before;
    ::sigemptyset(&terminate);
    ::sigaddset(&terminate, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &terminate, &before);
    ::sigdelset(&before, SIGTERM);
    return before;
}

bool tell(const Line& line, std::int64_t pace, const sigset_t& letIn) {
    return pause(line.milliseconds * pace / 100, letIn) && say(line.text);
}

} // namespace

int main() {
    for (const char* name : {"DEVICE_API_KEY", "AUTH_URL", "RELAY_ADDR"}) {
        if (std::getenv(name) == nullptr) {
            static_cast<void>(std::fprintf(stderr, "kestrelnet-client: %s is not set\n", name));
            return 2;
        }
    }
    const sigset_t letIn = holdBackTerminate();
    const std::int64_t pace = paceInPercent();
    const bool moved = std::ranges::all_of(
        connectAndMove, [&](const Line& line) { return tell(line, pace, letIn); });
    // The pace is for the scenes; what keeps on coming must not become a flood.
    while (moved && tell(keepAlive, 100, letIn)) {
    }
    if (endWanted == 0) {
        return 1;
    }
    return say("Told to stop; goodbye") ? 0 : 1;
}
