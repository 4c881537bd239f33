// SPDX-License-Identifier: MIT
#pragma once

#include "platform/RequestSchedule.h"
#include "platform/URLTransfers.h"

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace kestrelnet {

/// The thread on which HTTP requests run. It exists only while there are requests. It loads the
/// module of `URLTransfers` when it starts, so that no other thread waits for that.
class RequestThread {
  public:
    struct Request {
        URLTransfers::Number number;
        std::string url;
    };
    /// Called on the thread when a request has ended.
    using Ended = std::function<void(URLTransfers::End end)>;

    RequestThread(std::string authorities, Ended ended);
    /// Drops all requests and waits for the end of the thread, which does not take long.
    ~RequestThread();
    RequestThread(const RequestThread&) = delete;
    RequestThread& operator=(const RequestThread&) = delete;

    /// Adds requests with ascending numbers, and starts the thread if it does not exist. Returns
    /// false if there is no thread or no memory for it; then the requests are dropped. One thread
    /// only.
    [[nodiscard]] bool add(std::vector<Request> requests);

  private:
    class Waking;

    void run();
    void serve();
    bool isWanted();
    bool takeAdded();
    void schedule();
    void startDue(URLTransfers& transfers);
    std::chrono::milliseconds untilDue() const;
    void end(URLTransfers::End end);
    void endAll(const std::string& reason);
    void endAllWhenPossible();
    bool isStopping();

    const std::string authorities_;
    const Ended ended_;
    std::thread thread_;

    std::mutex mutex_;
    bool isRunning_ = false;
    bool isStopping_ = false;
    std::vector<Request> added_;
    /// Null while there is nothing to wake.
    URLTransfers* transfers_ = nullptr;

    // Only for the thread.
    RequestSchedule schedule_;
    std::vector<Request> taken_;
    /// The addresses of all requests that have not ended.
    std::map<URLTransfers::Number, std::string> urls_;
};

} // namespace kestrelnet
