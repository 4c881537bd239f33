// SPDX-License-Identifier: MIT
// fake-client MODE FOLDER [ARGUMENT...]: the tunnel client of the tests. Without arguments, it
// reads them from the file with its own name plus ".arguments", one per line.
//
// It writes a description of itself to FOLDER/description (see `description`) and its process id to
// FOLDER/pid, and then does what the table `modes` says for MODE. A mode that does not exit then
// writes FOLDER/ready, handles commands, and writes the number of handled commands to
// FOLDER/obeyed. FOLDER/control is a named pipe that the test keeps open for writing. When the test
// closes it, the client and the processes that it has left behind exit.
//
// Commands on the control pipe, one per line:
//   out N, err N          write the N bytes that follow the line, in one write()
//   close-out, close-err  close that stream
//   exit N                end with status N
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::string folder;
int control = -1;
int terminations = -1;

std::string inFolder(std::string_view name) {
    return folder + "/" + std::string(name);
}

// Creates the file `name` atomically with its content.
void publish(std::string_view name, std::string_view text) {
    const std::string draft = inFolder(std::string(name) + "." + std::to_string(getpid()));
    std::ofstream(draft) << text;
    if (std::rename(draft.c_str(), inFolder(name).c_str()) != 0) {
        std::_Exit(70);
    }
}

// The identifier counts in the PID namespace that is named beside it.
void publishProcess(std::string_view name) {
    publish(name, std::to_string(getpid()) + ' ' +
                      std::filesystem::read_symlink("/proc/self/ns/pid").string());
}

void say(int stream, std::string_view bytes) {
    if (write(stream, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        std::_Exit(74);
    }
}

void sayAll(int stream, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(stream, bytes.data(), bytes.size());
        if (count <= 0) {
            std::_Exit(74);
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

void openControl() {
    // Non-blocking, so that the first read returns end-of-file if the test has ended already.
    control = open(inFolder("control").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (control < 0) {
        std::_Exit(66);
    }
}

// Reads one byte of the control pipe; exits when the test has closed it.
char readControl() {
    for (;;) {
        char byte = 0;
        const ssize_t count = read(control, &byte, 1);
        if (count == 1) {
            return byte;
        }
        if (count == 0) {
            std::_Exit(0);
        }
        pollfd wait{control, POLLIN, 0};
        poll(&wait, 1, -1);
    }
}

std::string readControl(std::size_t count) {
    std::string bytes;
    while (bytes.size() < count) {
        bytes += readControl();
    }
    return bytes;
}

std::string readCommand() {
    std::string line;
    for (char byte = readControl(); byte != '\n'; byte = readControl()) {
        line += byte;
    }
    return line;
}

[[noreturn]] void obey() {
    for (int obeyed = 1;; ++obeyed) {
        const std::string line = readCommand();
        const std::string_view command = std::string_view(line).substr(0, line.find(' '));
        const auto number = [&line, &command] { return std::stoul(line.substr(command.size())); };
        if (command == "out") {
            say(1, readControl(number()));
        } else if (command == "err") {
            say(2, readControl(number()));
        } else if (command == "close-out") {
            close(1);
        } else if (command == "close-err") {
            close(2);
        } else if (command == "exit") {
            std::_Exit(static_cast<int>(number()));
        } else {
            std::_Exit(64);
        }
        publish("obeyed", std::to_string(obeyed));
    }
}

std::size_t mebibytes(std::string_view argument) {
    return std::stoul(std::string(argument)) << 20U;
}

void noteTermination(int /*signal*/) {
    const char mark = '.';
    [[maybe_unused]] const ssize_t count = write(terminations, &mark, 1);
}

void exitAtTermination(int /*signal*/) {
    std::_Exit(0);
}

void script(std::string_view /*argument*/) {}

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

void stubborn(std::string_view /*argument*/) {
    terminations = open(inFolder("terminations").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    struct sigaction action = {};
    action.sa_handler = noteTermination;
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
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

[[noreturn]] void exitAtOnce(std::string_view /*argument*/) {
    std::_Exit(3);
}

[[noreturn]] void sayAndExit(std::string_view /*argument*/) {
    say(1, "Discovered home server: oslo (198.51.100.9)\n");
    std::_Exit(0);
}

[[noreturn]] void floodAndExit(std::string_view argument) {
    flood(argument);
    say(1, "Split-tunnel routes: last\n");
    std::_Exit(0);
}

void closeStreams(std::string_view /*argument*/) {
    close(1);
    close(2);
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

[[noreturn]] void leaveFlood(std::string_view /*argument*/) {
    if (fork() == 0) {
        publishProcess("grandchild");
        flood("1024");
        stay();
    }
    // Not before the pipe is full.
    int unread = 0;
    while (ioctl(1, FIONREAD, &unread) == 0 && unread < 1 << 16) {
        usleep(1000);
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
        if (setresgid(stranger, stranger, stranger) != 0 ||
            setresuid(stranger, stranger, stranger) != 0) {
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

[[noreturn]] void crash(std::string_view /*argument*/) {
    std::abort();
}

struct Mode {
    std::string_view name;
    void (*run)(std::string_view argument);
};

// A mode whose function returns handles commands afterwards.
constexpr std::array modes{
    Mode{"script", script},                     // does nothing
    Mode{"routes", routes},                     // writes the route line
    Mode{"relay", relay},                       // writes the relay line
    Mode{"relay-then-routes", relayThenRoutes}, // a whole start: server, relay, routes
    Mode{"stubborn", stubborn},             // survives SIGTERM; records each in FOLDER/terminations
    Mode{"stderr-only", standardErrorOnly}, // closes standard output, writes to standard error
    Mode{"half-utf8", halfCharacter},       // a chunk that ends inside a character
    Mode{"not-utf8", notUtf8},              // invalid UTF-8
    Mode{"nul-bytes", nulBytes},            // a line that contains NUL bytes
    Mode{"endless-line", endlessLine},      // ARGUMENT MiB without a line feed
    Mode{"flood", flood},                   // ARGUMENT MiB of short lines
    Mode{"exits-at-once", exitAtOnce},      // exits with status 3
    Mode{"says-and-exits", sayAndExit},     // writes a line directly before its exit
    Mode{"floods-and-exits", floodAndExit}, // as "flood"; writes the route line, and exits
    Mode{"closes-streams", closeStreams},   // stays without output
    Mode{"leaves-grandchild", leaveGrandchild}, // exits; a child keeps both streams open
    Mode{"leaves-flood", leaveFlood},           // exits; a child goes on filling standard output
    Mode{"daemonises", daemonise},              // exits; a grandchild in another session stays
    Mode{"family", startFamily},                // stays, with children that are hard to end
    Mode{"changes-user", changeUser}, // stays, with a child of another user in another session
    Mode{"stops-itself", stopItself}, // stops by SIGSTOP
    Mode{"wraps", wrap},              // stays, with a child and a grandchild
    Mode{"crashes", crash},           // ends by SIGABRT
    Mode{"keeps-grandchild", keepGrandchild}, // stays, with a child
    Mode{"keeps-daemon", keepDaemon},         // stays, with a daemon that survives SIGTERM
    Mode{"stubborn-pair", stubbornPair},      // survives SIGTERM, as does its child
    Mode{"breeds", breed},                    // survives SIGTERM, and starts many children
    Mode{"spreads", spread},                  // starts many descendants, each the child of the last
    Mode{"exits-on-terminate", exitOnTerminate}, // handles SIGTERM by exit with status 0
};

std::set<int> descriptors() {
    std::set<int> listed;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/fd")) {
        listed.insert(std::stoi(entry.path().filename().string()));
    }
    // Without the descriptor of the listing itself.
    std::erase_if(listed, [](int descriptor) { return fcntl(descriptor, F_GETFD) == -1; });
    return listed;
}

// Everything that the program has inherited, as "name value" entries, each ended by a NUL.
std::string description(char** arguments, char** environment) {
    std::ostringstream text;
    const auto add = [&text](std::string_view name, const auto& value) {
        text << name << ' ' << value << '\0';
    };
    for (char** argument = arguments; *argument != nullptr; ++argument) {
        add("argument", *argument);
    }
    for (char** entry = environment; *entry != nullptr; ++entry) {
        add("environment", *entry);
    }
    std::array<char, 4096> path{};
    add("working-directory", getcwd(path.data(), path.size()) == nullptr ? "" : path.data());
    add("process-group", getpgrp());
    uid_t real = 0;
    uid_t effective = 0;
    uid_t saved = 0;
    getresuid(&real, &effective, &saved);
    add("user",
        std::to_string(real) + " " + std::to_string(effective) + " " + std::to_string(saved));
    for (const int descriptor : descriptors()) {
        add("descriptor", descriptor);
    }
    sigset_t blocked;
    sigprocmask(SIG_SETMASK, nullptr, &blocked);
    for (int signal = 1; signal < NSIG; ++signal) {
        struct sigaction action = {};
        if (sigismember(&blocked, signal) == 1) {
            add("blocked-signal", signal);
        }
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
            add("ignored-signal", signal);
        }
    }
    return text.str();
}

std::vector<std::string> commandLine(int count, char** arguments) {
    std::vector<std::string> found(arguments + std::min(count, 1), arguments + count);
    if (found.empty()) {
        std::ifstream lines(std::filesystem::read_symlink("/proc/self/exe").string() +
                            ".arguments");
        for (std::string line; std::getline(lines, line);) {
            found.push_back(line);
        }
    }
    return found;
}

} // namespace

int main(int count, char** arguments, char** environment) {
    const std::vector<std::string> words = commandLine(count, arguments);
    if (words.size() < 2) {
        std::cerr << "usage: fake-client MODE FOLDER [ARGUMENT...]\n";
        return 64;
    }
    for (const Mode& mode : modes) {
        if (mode.name == words[0]) {
            folder = words[1];
            publish("description", description(arguments, environment));
            publishProcess("pid");
            mode.run(words.size() > 2 ? words[2] : "");
            publish("ready", "");
            openControl();
            obey();
        }
    }
    std::cerr << "fake-client: unknown mode\n";
    return 64;
}
