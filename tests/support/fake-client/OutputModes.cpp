// SPDX-License-Identifier: MIT
#include "tests/support/fake-client/Control.h"
#include "tests/support/fake-client/Modes.h"

#include <array>
#include <cstdlib>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>

namespace fakeClient {

namespace {

std::size_t mebibytes(std::string_view argument) {
    return std::stoul(std::string(argument)) << 20U;
}

void routes(std::string_view /*argument*/) {
    say(1, "Split-tunnel routes: 2 applied\n");
}

void relay(std::string_view /*argument*/) {
    say(1, "Connected to relay 192.0.2.1:443\n");
}

void relayThenRoutes(std::string_view /*argument*/) {
    say(1, "Discovered home server: lisbon (198.51.100.7)\n");
    say(1, "Connected to relay 192.0.2.1:443\n");
    say(1, "Split-tunnel routes: 2 applied\n");
}

void standardErrorOnly(std::string_view /*argument*/) {
    close(1);
    say(2, "Split-tunnel routes: 2 applied\n");
}

void halfCharacter(std::string_view /*argument*/) {
    say(1, "Split-tunnel routes: 2 applied\nDiscovered home server: Z\xC3");
}

void notUtf8(std::string_view /*argument*/) {
    say(1, "Split-tunnel routes: \xFF\xFE\n");
}

void nulBytes(std::string_view /*argument*/) {
    using std::string_view_literals::operator""sv;
    say(1, "a\0b Split-tunnel routes:\0\n"sv);
}

void endlessLine(std::string_view argument) {
    const std::string piece(std::size_t{1} << 16U, 'x');
    for (std::size_t left = mebibytes(argument); left != 0; left -= piece.size()) {
        sayAll(1, piece);
    }
}

void flood(std::string_view argument) {
    const std::string line = std::string(63, 'y') + "\n";
    std::string piece;
    while (piece.size() < std::size_t{1} << 16U) {
        piece += line;
    }
    for (std::size_t left = mebibytes(argument); left != 0; left -= piece.size()) {
        sayAll(1, piece);
    }
}

[[noreturn]] void floodAndExit(std::string_view argument) {
    flood(argument);
    say(1, "Split-tunnel routes: last\n");
    std::_Exit(0);
}

[[noreturn]] void leaveFlood(std::string_view /*argument*/) {
    if (fork() == 0) {
        publishProcess("grandchild");
        flood("1024");
        openControl();
        obey();
    }
    // Not before the pipe is full.
    int unread = 0;
    while (ioctl(1, FIONREAD, &unread) == 0 && unread < 1 << 16) {
        usleep(1000);
    }
    std::_Exit(0);
}

[[noreturn]] void sayAndExit(std::string_view /*argument*/) {
    say(1, "Discovered home server: oslo (198.51.100.9)\n");
    std::_Exit(0);
}

void closeStreams(std::string_view /*argument*/) {
    close(1);
    close(2);
}

constexpr std::array modes{
    Mode{"routes", routes},                     // writes the route line
    Mode{"relay", relay},                       // writes the relay line
    Mode{"relay-then-routes", relayThenRoutes}, // a whole start: server, relay, routes
    Mode{"stderr-only", standardErrorOnly},     // closes standard output, writes to standard error
    Mode{"half-utf8", halfCharacter},           // a chunk that ends inside a character
    Mode{"not-utf8", notUtf8},                  // invalid UTF-8
    Mode{"nul-bytes", nulBytes},                // a line that contains NUL bytes
    Mode{"endless-line", endlessLine},          // ARGUMENT MiB without a line feed
    Mode{"flood", flood},                       // ARGUMENT MiB of short lines
    Mode{"floods-and-exits", floodAndExit},     // as "flood"; writes the route line, and exits
    Mode{"leaves-flood", leaveFlood},           // exits; a child goes on filling standard output
    Mode{"says-and-exits", sayAndExit},         // writes a line directly before its exit
    Mode{"closes-streams", closeStreams},       // stays without output
};

} // namespace

std::span<const Mode> outputModes() {
    return modes;
}

} // namespace fakeClient
