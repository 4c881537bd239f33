// SPDX-License-Identifier: MIT
// lookup-probe SCENE ADDRESS AUTHORITIES: makes lookups where something is short, then one where
// nothing is, and prints its body. ADDRESS is the address of a server that answers.
//
// Scenes:
//   descriptors    with few descriptors left, from none on
//   address-space  with little address space left, while ten lookups hang
//   quit           none is short: quits while ten lookups hang
#include "platform/URLSession.h"

#include "tests/platform/linux/HangingNames.h"
#include "tests/support/EventLoop.h"

#include <QCoreApplication>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

namespace {

using namespace kestrelnet;

constexpr int hangingLookups = 10;

/// While it exists, a resource of this process has this limit.
class Limit {
  public:
    Limit(__rlimit_resource resource, rlim_t limit) : resource_(resource) {
        ::getrlimit(resource_, &before_);
        const rlimit lower{.rlim_cur = limit, .rlim_max = before_.rlim_max};
        ::setrlimit(resource_, &lower);
    }
    ~Limit() { ::setrlimit(resource_, &before_); }
    Limit(const Limit&) = delete;
    Limit& operator=(const Limit&) = delete;

  private:
    __rlimit_resource resource_;
    rlimit before_{};
};

void giveUp(const char* reason) {
    std::fprintf(stderr, "lookup-probe: %s\n", reason);
    std::_Exit(EXIT_FAILURE);
}

struct Arguments {
    std::string_view scene;
    std::string address;
    std::string authorities;
};

struct Lookup {
    bool isOver = false;
    std::optional<std::string> body;
};

std::shared_ptr<const Lookup> start(URLSession& session, const std::string& address) {
    auto lookup = std::make_shared<Lookup>();
    session.data(address, [lookup](std::optional<std::string> body) {
        lookup->isOver = true;
        lookup->body = std::move(body);
    });
    return lookup;
}

void finish(const std::shared_ptr<const Lookup>& lookup) {
    if (!waitUntil([&] { return lookup->isOver; })) {
        giveUp("a lookup never completed");
    }
}

void startHanging(URLSession& session) {
    for (int lookup = 0; lookup < hangingLookups; ++lookup) {
        session.data("https://hangs.test/", [](const auto&) {});
    }
}

void useFewDescriptors(const Arguments& arguments) {
    constexpr int most = 24;
    const int next = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    ::close(next);
    for (int left = 0; left <= most; ++left) {
        const Limit limit(RLIMIT_NOFILE, static_cast<rlim_t>(next + left));
        URLSession session(arguments.authorities);
        finish(start(session, arguments.address));
    }
}

rlim_t addressSpace() {
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
}

void useLittleAddressSpace(const Arguments& arguments) {
    constexpr rlim_t mebibyte = 1024UL * 1024;
    constexpr std::array<rlim_t, 12> amounts{2, 4, 8, 12, 16, 24, 32, 64, 72, 128, 256, 400};
    for (const rlim_t left : amounts) {
        URLSession session(arguments.authorities);
        std::shared_ptr<const Lookup> lookup;
        {
            const Limit limit(RLIMIT_AS, addressSpace() + left * mebibyte);
            startHanging(session);
            lookup = start(session, arguments.address);
            // It may complete only when there is memory again.
            static_cast<void>(waitUntil([&] { return lookup->isOver; }, std::chrono::seconds(1)));
        }
        finish(lookup);
    }
}

/// The lookups keep the session, which is never destroyed.
int quit(const Arguments& arguments) {
    const auto session = std::make_shared<URLSession>(arguments.authorities);
    for (int lookup = 0; lookup < hangingLookups; ++lookup) {
        session->data("https://hangs.test/", [session](const auto&) {});
        session->data(arguments.address + "hangs", [session](const auto&) {});
    }
    session->data(arguments.address, [](const std::optional<std::string>& body) {
        std::puts(body.value_or("no answer").c_str());
        QCoreApplication::quit();
    });
    return QCoreApplication::exec();
}

} // namespace

int main(int count, char** arguments) {
    const QCoreApplication application(count, arguments);
    if (count != 4) {
        giveUp("usage: lookup-probe SCENE ADDRESS AUTHORITIES");
    }
    const Arguments given{arguments[1], arguments[2], arguments[3]};
    hangingNames::hold();
    if (given.scene == "quit") {
        return quit(given);
    }
    if (given.scene == "descriptors") {
        useFewDescriptors(given);
    } else if (given.scene == "address-space") {
        useLittleAddressSpace(given);
    }
    URLSession session(given.authorities);
    const auto lookup = start(session, given.address);
    finish(lookup);
    std::puts(lookup->body.value_or("no answer").c_str());
}
