// SPDX-License-Identifier: MIT
#include "platform/URLTransfers.h"

#include <curl/curl.h>

#include <algorithm>
#include <fcntl.h>
#include <map>
#include <memory>
#include <new>
#include <utility>

namespace kestrelnet {

namespace {

constexpr std::size_t largestBody = 1024UL * 1024;
constexpr long mostRedirects = 20;
/// For the connection, and for a connection on which nothing arrives.
constexpr long timeoutSeconds = 30;

struct FreeEasy {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct FreeMulti {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};

struct Transfer {
    std::unique_ptr<CURL, FreeEasy> easy;
    std::string body = {};
    bool isTooLarge = false;
};

/// An exception must not pass through the C code that calls this. Any result but `length` ends the
/// transfer.
std::size_t append(char* data, std::size_t /*one*/, std::size_t length, void* context) noexcept {
    auto& transfer = *static_cast<Transfer*>(context);
    if (length > largestBody - transfer.body.size()) {
        transfer.isTooLarge = true;
        return 0;
    }
    try {
        transfer.body.append(data, length);
    } catch (const std::bad_alloc&) {
        return 0;
    }
    return length;
}

/// Keeps the socket out of programs that the application starts.
int closeOnExec(void* /*context*/, curl_socket_t socket, curlsocktype /*purpose*/) {
    return ::fcntl(socket, F_SETFD, FD_CLOEXEC) == 0 ? CURL_SOCKOPT_OK : CURL_SOCKOPT_ERROR;
}

/// Sets options, and notes whether one was refused.
class Options {
  public:
    explicit Options(CURL* easy) : easy_(easy) {}

    template <typename Value>
    Options& set(CURLoption option, Value value) {
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): this is the interface of the library.
        const CURLcode code = curl_easy_setopt(easy_, option, value);
        result_ = result_ == CURLE_OK ? code : result_;
        return *this;
    }
    CURLcode result() const { return result_; }

  private:
    CURL* easy_;
    CURLcode result_ = CURLE_OK;
};

CURLcode configure(Transfer& transfer, const std::string& url, const std::string& authorities) {
    Options options(transfer.easy.get());
    options.set(CURLOPT_URL, url.c_str())
        .set(CURLOPT_PRIVATE, static_cast<void*>(&transfer))
        .set(CURLOPT_WRITEFUNCTION, &append)
        .set(CURLOPT_WRITEDATA, static_cast<void*>(&transfer))
        .set(CURLOPT_SOCKOPTFUNCTION, &closeOnExec)
        .set(CURLOPT_PROTOCOLS_STR, "http,https")
        .set(CURLOPT_REDIR_PROTOCOLS_STR, "https")
        .set(CURLOPT_FOLLOWLOCATION, 1L)
        .set(CURLOPT_MAXREDIRS, mostRedirects)
        // Some services refuse a request without a user agent. This one says nothing of the user.
        .set(CURLOPT_USERAGENT, "Mozilla/5.0")
        // Requests share nothing: since the last one, the route of the traffic may have changed. On
        // a new connection of HTTP 1, the library sends a request once and never again.
        .set(CURLOPT_FRESH_CONNECT, 1L)
        .set(CURLOPT_FORBID_REUSE, 1L)
        .set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1))
        .set(CURLOPT_DNS_CACHE_TIMEOUT, 0L)
        .set(CURLOPT_SSL_SESSIONID_CACHE, 0L)
        // When the network changes during a request, the answer may never come.
        .set(CURLOPT_CONNECTTIMEOUT, timeoutSeconds)
        .set(CURLOPT_LOW_SPEED_LIMIT, 1L)
        .set(CURLOPT_LOW_SPEED_TIME, timeoutSeconds)
        // The thread that resolves a name may hang. A request that is dropped leaves it alone.
        .set(CURLOPT_QUICK_EXIT, 1L)
        .set(CURLOPT_NOSIGNAL, 1L);
    constexpr const char* none = nullptr;
    if (!authorities.empty()) {
        options.set(CURLOPT_CAINFO, authorities.c_str()).set(CURLOPT_CAPATH, none);
    } else if (curl_version_info(CURLVERSION_NOW)->capath != nullptr) {
        // The folder has one file per authority, and only the one that is needed is read. The file
        // of all takes much longer.
        options.set(CURLOPT_CAINFO, none);
    }
    return options.result();
}

class CurlTransfers final : public URLTransfers {
  public:
    explicit CurlTransfers(std::string authorities) : authorities_(std::move(authorities)) {}
    ~CurlTransfers() override;

    /// Returns false when a descriptor or memory is missing.
    bool prepare(std::size_t mostConnections);

    void start(Number request, const std::string& url) override;
    void drop(Number request) override;
    std::vector<End> perform(std::chrono::milliseconds timeout) override;
    void wake() override { curl_multi_wakeup(multi_.get()); }

  private:
    using Transfers = std::map<Number, Transfer>;

    void fail(Number request, const char* reason) {
        ended_.push_back({request, std::nullopt, reason});
    }
    void remove(Transfers::iterator transfer);
    void collectEnded();
    void failAll(const char* reason);

    std::string authorities_;
    std::unique_ptr<CURLM, FreeMulti> multi_{curl_multi_init()};
    Transfers transfers_;
    std::vector<End> ended_;
};

CurlTransfers::~CurlTransfers() {
    while (!transfers_.empty()) {
        remove(transfers_.begin());
    }
}

bool CurlTransfers::prepare(std::size_t mostConnections) {
    // Recent versions of the library keep the connection of a request that has ended until the
    // server closes it. The limit includes those connections, and the library closes them first.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): this is the interface of the library.
    return multi_ != nullptr &&
           curl_multi_setopt(multi_.get(), CURLMOPT_MAX_TOTAL_CONNECTIONS,
                             static_cast<long>(mostConnections)) == CURLM_OK &&
           curl_multi_wakeup(multi_.get()) == CURLM_OK;
}

void CurlTransfers::start(Number request, const std::string& url) {
    const auto transfer = transfers_.try_emplace(request).first;
    transfer->second.easy.reset(curl_easy_init());
    CURL* const easy = transfer->second.easy.get();
    const CURLcode code =
        easy == nullptr ? CURLE_OUT_OF_MEMORY : configure(transfer->second, url, authorities_);
    if (code != CURLE_OK || curl_multi_add_handle(multi_.get(), easy) != CURLM_OK) {
        transfers_.erase(transfer);
        fail(request, code == CURLE_OK ? "it cannot be started" : curl_easy_strerror(code));
    }
}

void CurlTransfers::drop(Number request) {
    const auto transfer = transfers_.find(request);
    if (transfer != transfers_.end()) {
        remove(transfer);
    }
}

void CurlTransfers::remove(Transfers::iterator transfer) {
    curl_multi_remove_handle(multi_.get(), transfer->second.easy.get());
    transfers_.erase(transfer);
}

void CurlTransfers::collectEnded() {
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(multi_.get(), &left)) {
        const CURLcode code = message->data.result;
        const auto transfer =
            std::find_if(transfers_.begin(), transfers_.end(), [message](const auto& entry) {
                return entry.second.easy.get() == message->easy_handle;
            });
        if (code == CURLE_OK) {
            ended_.push_back({transfer->first, std::move(transfer->second.body), {}});
        } else {
            fail(transfer->first, transfer->second.isTooLarge ? "the response is too large"
                                                              : curl_easy_strerror(code));
        }
        remove(transfer);
    }
}

void CurlTransfers::failAll(const char* reason) {
    while (!transfers_.empty()) {
        fail(transfers_.begin()->first, reason);
        remove(transfers_.begin());
    }
}

std::vector<URLTransfers::End> CurlTransfers::perform(std::chrono::milliseconds timeout) {
    if (ended_.empty()) {
        int running = 0;
        CURLMcode code =
            curl_multi_poll(multi_.get(), nullptr, 0, static_cast<int>(timeout.count()), nullptr);
        if (code == CURLM_OK) {
            code = curl_multi_perform(multi_.get(), &running);
        }
        collectEnded();
        if (code != CURLM_OK) {
            failAll(curl_multi_strerror(code));
        }
    }
    return std::exchange(ended_, {});
}

} // namespace

// It is never cleaned up: threads that resolve names may outlive their requests.
extern "C" [[gnu::visibility("default")]] URLTransfers*
kestrelnetMakeURLTransfers(const std::string& authorities, std::size_t mostConnections) {
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        return nullptr;
    }
    auto transfers = std::make_unique<CurlTransfers>(authorities);
    return transfers->prepare(mostConnections) ? transfers.release() : nullptr;
}

} // namespace kestrelnet
