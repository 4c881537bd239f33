// SPDX-License-Identifier: MIT
#include "tests/support/fake-client/Control.h"
#include "tests/support/fake-client/Modes.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

namespace fakeClient {

namespace {

int terminations = -1;

void noteTermination(int /*signal*/) {
    const char mark = '.';
    [[maybe_unused]] const ssize_t count = write(terminations, &mark, 1);
}

void exitAtTermination(int /*signal*/) {
    std::_Exit(0);
}

void script(std::string_view /*argument*/) {}

/// Makes SIGTERM write one byte to `terminations`.
void noteTerminations() {
    struct sigaction action = {};
    action.sa_handler = noteTermination;
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
}

void stubborn(std::string_view /*argument*/) {
    terminations = open(inFolder("terminations").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    noteTerminations();
}

[[noreturn]] void exitAtOnce(std::string_view /*argument*/) {
    std::_Exit(3);
}

[[noreturn]] void stay() {
    openControl();
    obey();
}

[[noreturn]] void stayBehind() {
    publishProcess("grandchild");
    stay();
}

[[noreturn]] void leaveGrandchild(std::string_view /*argument*/) {
    if (fork() == 0) {
        stayBehind();
    }
    std::_Exit(0);
}

[[noreturn]] void daemonise(std::string_view /*argument*/) {
    if (fork() == 0) {
        setsid();
        if (fork() == 0) {
            for (int stream = 0; stream <= 2; ++stream) {
                close(stream);
            }
            stayBehind();
        }
    }
    std::_Exit(0);
}

void keepGrandchild(std::string_view /*argument*/) {
    if (fork() == 0) {
        stayBehind();
    }
}

void keepDaemon(std::string_view /*argument*/) {
    if (fork() == 0) {
        setsid();
        if (fork() == 0) {
            stubborn("");
            stayBehind();
        }
        std::_Exit(0);
    }
}

void stubbornPair(std::string_view argument) {
    stubborn(argument);
    if (fork() == 0) {
        stay();
    }
}

/// Starts a child that survives SIGTERM every millisecond, up to a limit.
void breed(std::string_view argument) {
    constexpr int most = 2000;
    stubborn(argument);
    if (fork() == 0) {
        for (int children = 0; children < most; ++children) {
            if (fork() == 0) {
                stay();
            }
            usleep(1000);
        }
        stay();
    }
}

/// Starts a child, which starts a child, and so on without a pause, up to a limit.
void spread(std::string_view /*argument*/) {
    constexpr int most = 100;
    if (fork() == 0) {
        for (int generation = 1; generation < most && fork() == 0; ++generation) {
        }
        stay();
    }
}

void exitOnTerminate(std::string_view /*argument*/) {
    struct sigaction action = {};
    action.sa_handler = exitAtTermination;
    sigaction(SIGTERM, &action, nullptr);
}

/// Starts children that are hard to end: one that ignores SIGTERM, a daemon that ignores it too,
/// and one that is stopped.
void startFamily(std::string_view /*argument*/) {
    if (fork() == 0) {
        signal(SIGTERM, SIG_IGN);
        stay();
    }
    if (fork() == 0) {
        setsid();
        if (fork() == 0) {
            signal(SIGTERM, SIG_IGN);
            stay();
        }
        std::_Exit(0);
    }
    if (fork() == 0) {
        raise(SIGSTOP);
        stay();
    }
}

/// Starts a child in another session that ignores SIGTERM and becomes another user.
void changeUser(std::string_view /*argument*/) {
    constexpr uid_t stranger = 4712;
    if (fork() == 0) {
        setsid();
        signal(SIGTERM, SIG_IGN);
        openControl();
        // The saved identifiers become the same.
        if (setregid(stranger, stranger) != 0 || setreuid(stranger, stranger) != 0) {
            std::_Exit(77);
        }
        obey();
    }
}

void stopItself(std::string_view /*argument*/) {
    raise(SIGSTOP);
}

/// Starts a child, which starts a child that ignores SIGTERM.
void wrap(std::string_view /*argument*/) {
    if (fork() == 0) {
        if (fork() == 0) {
            signal(SIGTERM, SIG_IGN);
        }
        stay();
    }
}

/// Writes its last word to FOLDER/cleaned when it has cleaned up for `argument` milliseconds after
/// SIGTERM. A second SIGTERM makes it skip that.
[[noreturn]] void cleanUp(std::string_view argument) {
    // The output may have lost its reader.
    signal(SIGPIPE, SIG_IGN);
    // Other programs that load the machine must not delay the clean-up.
    setpriority(PRIO_PROCESS, 0, -20);
    std::array<int, 2> signals{};
    if (pipe(signals.data()) != 0) {
        std::_Exit(71);
    }
    terminations = signals[1];
    noteTerminations();
    pollfd events[] = {{signals[0], POLLIN, 0}, {openControl(), POLLIN, 0}};
    publish("ready", "");
    const auto hasSignal = [&](int milliseconds) {
        // A signal also interrupts the wait.
        while (poll(events, 2, milliseconds) < 0) {
        }
        if (events[1].revents != 0) {
            std::_Exit(0);
        }
        char mark = 0;
        return events[0].revents != 0 && read(signals[0], &mark, 1) == 1;
    };
    hasSignal(-1);
    tryToSay("cleaning\n");
    if (hasSignal(std::stoi(std::string(argument)))) {
        std::_Exit(75);
    }
    tryToSay("clean\n");
    publish("cleaned", "");
    std::_Exit(0);
}

[[noreturn]] void crash(std::string_view /*argument*/) {
    std::abort();
}

constexpr std::array modes{
    Mode{"script", script},            // does nothing
    Mode{"stubborn", stubborn},        // survives SIGTERM; records each in FOLDER/terminations
    Mode{"exits-at-once", exitAtOnce}, // exits with status 3
    Mode{"leaves-grandchild", leaveGrandchild}, // exits; a child keeps both streams open
    Mode{"daemonises", daemonise},              // exits; a grandchild in another session stays
    Mode{"family", startFamily},                // stays, with children that are hard to end
    Mode{"changes-user", changeUser}, // stays, with a child of another user in another session
    Mode{"stops-itself", stopItself}, // stops by SIGSTOP
    Mode{"wraps", wrap},              // stays, with a child and a grandchild
    Mode{"cleans-up", cleanUp},       // writes FOLDER/cleaned ARGUMENT milliseconds after SIGTERM
    Mode{"crashes", crash},           // ends by SIGABRT
    Mode{"keeps-grandchild", keepGrandchild}, // stays, with a child
    Mode{"keeps-daemon", keepDaemon},         // stays, with a daemon that survives SIGTERM
    Mode{"stubborn-pair", stubbornPair},      // survives SIGTERM, as does its child
    Mode{"breeds", breed},                    // survives SIGTERM, and starts many children
    Mode{"spreads", spread},                  // starts many descendants, each the child of the last
    Mode{"exits-on-terminate", exitOnTerminate}, // handles SIGTERM by exit with status 0
};

} // namespace

std::span<const Mode> processModes() {
    return modes;
}

} // namespace fakeClient
