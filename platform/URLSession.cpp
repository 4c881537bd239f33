// SPDX-License-Identifier: MIT
#include "platform/URLSession.h"

#include "platform/Log.h"
#include "platform/RequestThread.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QObject>

#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kestrelnet {

/// Receives the ends of the requests on the main thread. Destroying it drops those that are posted.
struct URLSession::Requests : QObject {
    explicit Requests(const std::string& authorities);

    void add(const std::string& url, Completion completion);
    void start();
    void post(URLTransfers::End end);
    std::optional<URLTransfers::End> takePosted();
    void end();
    void leave();

    std::map<URLTransfers::Number, Completion> completions;
    URLTransfers::Number last = 0;
    std::vector<RequestThread::Request> added;

    std::mutex mutex;
    /// One posted call of end() belongs to each.
    std::deque<URLTransfers::End> posted;

    std::optional<RequestThread> thread;
};

URLSession::Requests::Requests(const std::string& authorities) {
    thread.emplace(authorities, [this](URLTransfers::End end) { post(std::move(end)); });
    // The thread must not run while the HTTP library's data is destroyed at the end of the program.
    QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this,
                     [this] { leave(); });
}

void URLSession::Requests::leave() {
    thread.reset();
    // May destroy this object.
    const auto dropped = std::exchange(completions, {});
}

void URLSession::Requests::add(const std::string& url, Completion completion) {
    if (!thread) {
        return;
    }
    completions.emplace(++last, std::move(completion));
    added.push_back({last, url});
    if (added.size() == 1) {
        // Posted, so that the thread gets together what is added together: none of it is dropped
        // for the rest.
        QMetaObject::invokeMethod(
            this, [this] { start(); }, Qt::QueuedConnection);
    }
}

void URLSession::Requests::start() {
    const URLTransfers::Number first = added.front().number;
    if (!thread || thread->add(std::exchange(added, {}))) {
        return;
    }
    for (URLTransfers::Number number = first; number <= last; ++number) {
        post({number, std::nullopt, "there is no thread or no memory for it"});
    }
}

/// Any thread.
void URLSession::Requests::post(URLTransfers::End end) {
    const std::lock_guard lock(mutex);
    QMetaObject::invokeMethod(
        this, [this] { this->end(); }, Qt::QueuedConnection);
    posted.push_back(std::move(end));
}

std::optional<URLTransfers::End> URLSession::Requests::takePosted() {
    const std::lock_guard lock(mutex);
    if (posted.empty()) {
        return std::nullopt;
    }
    auto first = std::make_optional(std::move(posted.front()));
    posted.pop_front();
    return first;
}

void URLSession::Requests::end() {
    auto ended = takePosted();
    if (!ended) {
        return;
    }
    const auto found = completions.extract(ended->request);
    if (!found) {
        return;
    }
    if (!ended->body) {
        log::warning(log::Category::exitIP, "the request failed: " + ended->reason);
    }
    // May destroy this object.
    found.mapped()(std::move(ended->body));
}

URLSession::URLSession(std::string authorities) : authorities_(std::move(authorities)) {}

URLSession::~URLSession() = default;

void URLSession::data(const std::string& url, Completion completion) {
    if (!requests_) {
        requests_ = std::make_unique<Requests>(authorities_);
    }
    requests_->add(url, std::move(completion));
}

} // namespace kestrelnet
