// SPDX-License-Identifier: MIT
#include "benchmarks/Surroundings.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <poll.h>

namespace kestrelnet::benchmarks {

bool Surroundings::serve(const std::function<bool()>& condition, std::chrono::nanoseconds span,
                         std::chrono::nanoseconds interval) {
    const Time deadline = now() + span;
    for (;;) {
        tray.process();
        screen.process();
        if (condition()) {
            return true;
        }
        const auto left = deadline - now();
        if (left <= left.zero()) {
            return false;
        }
        await(std::min<std::chrono::nanoseconds>(left, interval));
    }
}

void Surroundings::serveUntil(const std::function<bool()>& condition, const std::string& failure,
                              std::chrono::nanoseconds interval) {
    if (!serve(condition, bound, interval)) {
        giveUp(failure);
    }
}

void Surroundings::serveFor(std::chrono::nanoseconds span) {
    serve([] { return false; }, span, span);
}

void Surroundings::await(std::chrono::nanoseconds span) const {
    std::array<pollfd, 2> sources{
        {{tray.descriptor(), POLLIN, 0}, {screen.descriptor(), POLLIN, 0}}};
    const auto seconds = std::chrono::floor<std::chrono::seconds>(span);
    const timespec timeout{seconds.count(), (span - seconds).count()};
    ::ppoll(sources.data(), sources.size(), &timeout, nullptr);
}

void awaitQuiet(Surroundings& around, const ChildProcess& program, std::chrono::nanoseconds span) {
    Usage last;
    const Time deadline = now() + Surroundings::bound;
    while (last != program.usage() && now() < deadline) {
        last = program.usage();
        around.serveFor(span);
    }
}

void writeSettings(bool autoConnect) {
    const char* const folder = std::getenv("XDG_CONFIG_HOME");
    if (folder == nullptr) {
        giveUp("this must run on the quiet desktop");
    }
    std::ofstream file(std::string(folder) + "/com.kestrelnetvpn.app.conf");
    file << "[General]\nkestrelnet_api_key=dev_0123456789abcdef\nkestrelnet_auto_connect="
         << (autoConnect ? "true" : "false") << '\n';
}

} // namespace kestrelnet::benchmarks
