// SPDX-License-Identifier: MIT
#include "platform/EndRequests.h"

#include "platform/Descriptors.h"
#include "platform/Log.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QSocketNotifier>

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kestrelnet {

namespace {

constexpr std::array endSignals{SIGTERM, SIGINT, SIGHUP};

/// The signal handler writes here. Any thread may run the handler.
volatile std::sig_atomic_t writingEnd = -1;

extern "C" void noteSignal(int /*number*/) {
    const int error = errno;
    const char note = 0;
    // When the pipe is full, the event loop is going to read it anyway.
    [[maybe_unused]] const ssize_t written = ::write(writingEnd, &note, 1);
    errno = error;
}

/// Makes a descriptor readable when a signal arrives.
class SignalPipe {
  public:
    SignalPipe() : pipe_(closeOnExecPipe()) {
        if (pipe_.reading < 0) {
            log::warning(log::Category::system, "signals cannot be watched",
                         {errno, std::generic_category()});
        }
        ::fcntl(pipe_.reading, F_SETFL, O_NONBLOCK);
        ::fcntl(pipe_.writing, F_SETFL, O_NONBLOCK);
        writingEnd = pipe_.writing;
        struct sigaction noting {};
        noting.sa_handler = noteSignal;
        noting.sa_flags = SA_RESTART;
        for (std::size_t i = 0; i < endSignals.size(); ++i) {
            ::sigaction(endSignals[i], nullptr, &before_[i]);
            if (before_[i].sa_handler != SIG_IGN) {
                ::sigaction(endSignals[i], &noting, nullptr);
            }
        }
    }
    ~SignalPipe() {
        for (std::size_t i = 0; i < endSignals.size(); ++i) {
            ::sigaction(endSignals[i], &before_[i], nullptr);
        }
        writingEnd = -1;
        ::close(pipe_.reading);
        ::close(pipe_.writing);
    }
    SignalPipe(const SignalPipe&) = delete;
    SignalPipe& operator=(const SignalPipe&) = delete;

    int descriptor() const { return pipe_.reading; }

    void empty() const {
        std::array<char, 64> notes{};
        while (::read(pipe_.reading, notes.data(), notes.size()) > 0) {
        }
    }

  private:
    PipeDescriptors pipe_;
    std::array<struct sigaction, endSignals.size()> before_{};
};

} // namespace

class EndRequests::Watch : public QObject {
  public:
    explicit Watch(std::function<void()> wanted)
        : wanted_(std::move(wanted)), arrived_(signals_.descriptor(), QSocketNotifier::Read) {
        QObject::connect(&arrived_, &QSocketNotifier::activated, this, [this] {
            signals_.empty();
            report();
        });
        QCoreApplication::instance()->installEventFilter(this);
    }

    /// The toolkit would quit at once.
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched != QCoreApplication::instance() || event->type() != QEvent::Quit) {
            return false;
        }
        report();
        return true;
    }

  private:
    void report() {
        if (const auto wanted = std::exchange(wanted_, {})) {
            wanted();
        }
    }

    std::function<void()> wanted_;
    SignalPipe signals_;
    QSocketNotifier arrived_;
};

EndRequests::EndRequests(std::function<void()> wanted)
    : watch_(std::make_unique<Watch>(std::move(wanted))) {}

EndRequests::~EndRequests() = default;

} // namespace kestrelnet
