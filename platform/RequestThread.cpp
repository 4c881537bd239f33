// SPDX-License-Identifier: MIT
#include "platform/RequestThread.h"

#include "platform/Module.h"

#include <algorithm>
#include <csignal>
#include <exception>
#include <iterator>
#include <memory>
#include <new>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <utility>

namespace kestrelnet {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds longestWait = std::chrono::minutes(1);
constexpr std::chrono::milliseconds memoryInterval{100};
constexpr char noMemory[] = "the memory is exhausted";

/// A request that resolves a name needs three descriptors. A quarter of the limit for requests
/// leaves as many for the rest of the program.
std::size_t mostUnderWay() {
    constexpr rlim_t most = 256;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return most;
    }
    return std::clamp<rlim_t>(limit.rlim_cur / 4, 1, most);
}

/// Whether so much address space is left. Libraries may crash when they are loaded or used without
/// memory, and requests must not take the last of it from the rest of the program.
bool hasSpareMemory() {
    constexpr std::size_t spare = 64UL * 1024 * 1024;
    void* const place = ::mmap(nullptr, spare, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return place != MAP_FAILED && ::munmap(place, spare) == 0;
}

std::unique_ptr<URLTransfers> makeTransfers(const std::string& authorities,
                                            std::size_t mostConnections, std::string& reason) {
    void* const make = moduleFunction(KESTRELNET_NETWORK_MODULE, makeURLTransfersName, reason);
    if (make == nullptr) {
        return nullptr;
    }
    reason = "the HTTP library cannot be used";
    return std::unique_ptr<URLTransfers>(
        reinterpret_cast<MakeURLTransfers*>(make)(authorities, mostConnections));
}

/// Signals are for the main thread. Threads that this one creates block them, too.
void blockSignals() {
    sigset_t all;
    sigfillset(&all);
    ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

} // namespace

RequestThread::RequestThread(std::string authorities, Ended ended)
    : authorities_(std::move(authorities)), ended_(std::move(ended)), schedule_(mostUnderWay()) {}

RequestThread::~RequestThread() {
    {
        const std::lock_guard lock(mutex_);
        isStopping_ = true;
        if (transfers_ != nullptr) {
            transfers_->wake();
        }
    }
    if (thread_.joinable()) {
        thread_.join();
    }
}

bool RequestThread::add(std::vector<Request> requests) {
    {
        const std::lock_guard lock(mutex_);
        added_.insert(added_.end(), std::make_move_iterator(requests.begin()),
                      std::make_move_iterator(requests.end()));
        if (transfers_ != nullptr) {
            transfers_->wake();
        }
        if (std::exchange(isRunning_, true)) {
            return true;
        }
    }
    // The thread before, if there was one, has nothing left to do.
    if (thread_.joinable()) {
        thread_.join();
    }
    try {
        if (hasSpareMemory()) {
            thread_ = std::thread([this] { run(); });
            return true;
        }
    } catch (const std::exception&) {
        // Said below.
    }
    isRunning_ = false;
    added_.clear();
    return false;
}

/// While it exists, the thread may be woken.
class RequestThread::Waking {
  public:
    Waking(RequestThread& thread, URLTransfers& transfers) : thread_(thread) { set(&transfers); }
    ~Waking() { set(nullptr); }
    Waking(const Waking&) = delete;
    Waking& operator=(const Waking&) = delete;

  private:
    void set(URLTransfers* transfers) {
        const std::lock_guard lock(thread_.mutex_);
        thread_.transfers_ = transfers;
    }

    RequestThread& thread_;
};

void RequestThread::run() {
    blockSignals();
    while (isWanted()) {
        try {
            serve();
        } catch (const std::bad_alloc&) {
            endAllWhenPossible();
        }
    }
}

bool RequestThread::isWanted() {
    const std::lock_guard lock(mutex_);
    isRunning_ = !isStopping_ && !added_.empty();
    return isRunning_;
}

void RequestThread::serve() {
    std::string reason;
    const std::unique_ptr<URLTransfers> transfers =
        makeTransfers(authorities_, schedule_.mostUnderWay(), reason);
    if (!transfers) {
        takeAdded();
        endAll(reason);
        return;
    }
    const Waking waking(*this, *transfers);
    while (takeAdded()) {
        schedule();
        startDue(*transfers);
        for (URLTransfers::End& ended : transfers->perform(untilDue())) {
            end(std::move(ended));
        }
    }
}

/// Returns false when nothing is left to do.
bool RequestThread::takeAdded() {
    const std::lock_guard lock(mutex_);
    taken_ = std::exchange(added_, {});
    return !isStopping_ && !(taken_.empty() && urls_.empty());
}

void RequestThread::schedule() {
    for (Request& request : taken_) {
        urls_.emplace(request.number, std::move(request.url));
        if (const auto dropped = schedule_.add(request.number)) {
            end({*dropped, std::nullopt, "too many requests wait"});
        }
    }
    taken_.clear();
}

void RequestThread::startDue(URLTransfers& transfers) {
    while (const auto start = schedule_.next(steady_clock::now())) {
        if (start->dropped) {
            transfers.drop(*start->dropped);
            end({*start->dropped, std::nullopt, "too many requests are under way"});
        }
        if (hasSpareMemory()) {
            transfers.start(start->request, urls_.at(start->request));
        } else {
            end({start->request, std::nullopt, noMemory});
        }
    }
}

std::chrono::milliseconds RequestThread::untilDue() const {
    const auto due = schedule_.due();
    if (!due) {
        return longestWait;
    }
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(*due - steady_clock::now());
    return std::clamp(wait, std::chrono::milliseconds::zero(), longestWait);
}

void RequestThread::end(URLTransfers::End end) {
    urls_.erase(end.request);
    schedule_.end(end.request);
    ended_(std::move(end));
}

/// For requests that are not under way any more.
void RequestThread::endAll(const std::string& reason) {
    schedule_.clear();
    while (!urls_.empty()) {
        ended_({urls_.begin()->first, std::nullopt, reason});
        urls_.erase(urls_.begin());
    }
    while (!taken_.empty()) {
        ended_({taken_.back().number, std::nullopt, reason});
        taken_.pop_back();
    }
}

/// Without memory, nobody can even be told.
void RequestThread::endAllWhenPossible() {
    for (;;) {
        try {
            endAll(noMemory);
            return;
        } catch (const std::bad_alloc&) {
            if (isStopping()) {
                return;
            }
            std::this_thread::sleep_for(memoryInterval);
        }
    }
}

bool RequestThread::isStopping() {
    const std::lock_guard lock(mutex_);
    return isStopping_;
}

} // namespace kestrelnet
