// SPDX-License-Identifier: MIT
#include "platform/Pipe.h"

#include "platform/Descriptors.h"
#include "platform/Log.h"
#include "platform/Memory.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <sys/ioctl.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

namespace kestrelnet {

namespace {

constexpr int chunkSize = 65536;

void warnOfError(std::string_view message, int error = errno) {
    log::warning(log::Category::output, message, {error, std::generic_category()});
}

void closeDescriptor(int& descriptor) {
    if (descriptor >= 0) {
        ::close(std::exchange(descriptor, -1));
    }
}

} // namespace

std::shared_ptr<FileHandle> FileHandle::create(int descriptor) {
    return std::shared_ptr<FileHandle>(new FileHandle(descriptor));
}

FileHandle::~FileHandle() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
    closeDescriptor(wakeReading_);
    closeDescriptor(wakeWriting_);
}

void FileHandle::setReadabilityHandler(ReadabilityHandler handler) {
    SharedHandler incoming;
    if (handler) {
        incoming = std::make_shared<const ReadabilityHandler>(std::move(handler));
    }
    SharedHandler rejected;
    int error = 0;
    {
        const std::lock_guard lock(mutex_);
        handler_.swap(incoming);
        if (!handler_ && incoming) {
            [[maybe_unused]] const auto written = ::write(wakeWriting_, "", 1);
            resumed_.notify_all();
        } else if (!postponed_ && (error = startReading()) != 0) {
            handler_.swap(rejected);
        }
    }
    if (error != 0) {
        warnOfError("the output is not read", error);
    }
}

/// Returns 0 or an error number.
int FileHandle::endPostponement() {
    const std::lock_guard lock(mutex_);
    postponed_ = false;
    return startReading();
}

/// Starts the reader thread if there is something to read and somebody to read it. Needs the mutex.
/// Returns 0 or an error number.
int FileHandle::startReading() {
    if (!handler_ || reading_ || atEnd_ || descriptor_ < 0) {
        return 0;
    }
    if (const int error = createWakePipe()) {
        return error;
    }
    try {
        std::thread([self = shared_from_this()] { self->readUntilRemoved(); }).detach();
    } catch (const std::system_error& error) {
        return error.code().value();
    }
    reading_ = true;
    return 0;
}

int FileHandle::createWakePipe() {
    if (wakeReading_ >= 0) {
        return 0;
    }
    const PipeDescriptors wake = closeOnExecPipe();
    if (wake.reading < 0) {
        return errno;
    }
    wakeReading_ = wake.reading;
    wakeWriting_ = wake.writing;
    // A write to a full pipe must not block; its bytes wake the thread as well.
    ::fcntl(wakeWriting_, F_SETFL, O_NONBLOCK);
    return 0;
}

void FileHandle::readUntilRemoved() {
    while (awaitTurn()) {
        if (awaitReadable()) {
            callHandler();
        }
    }
}

/// Waits for the end of all pauses. Returns false when the reader thread must end.
bool FileHandle::awaitTurn() {
    SharedHandler finished;
    std::unique_lock lock(mutex_);
    resumed_.wait(lock, [this] { return pauses_ == 0 || !handler_; });
    if (atEnd_) {
        handler_.swap(finished);
    }
    reading_ = handler_ != nullptr;
    return reading_;
}

void FileHandle::callHandler() {
    SharedHandler handler;
    const std::lock_guard turn(calling_);
    {
        const std::lock_guard lock(mutex_);
        if (pauses_ == 0) {
            handler = handler_;
        }
    }
    // drain() may have read the bytes meanwhile.
    if (handler && isReadable()) {
        call(handler);
    }
}

/// Calls `handler`, again if there was no memory for it, unless it was removed meanwhile.
void FileHandle::call(const SharedHandler& handler) {
    whenThereIsMemory([&] {
        if (currentHandler() == handler) {
            (*handler)(*this);
        }
    });
}

FileHandle::SharedHandler FileHandle::currentHandler() {
    const std::lock_guard lock(mutex_);
    return handler_;
}

std::size_t FileHandle::drain() {
    SharedHandler handler;
    const std::lock_guard turn(calling_);
    int size = 0;
    if (::ioctl(descriptor_, FIONREAD, &size) != 0) {
        return 0;
    }
    for (int left = size; left > 0 && (handler = currentHandler()); left -= chunkSize) {
        call(handler);
    }
    return static_cast<std::size_t>(size);
}

class FileHandle::Pause {
  public:
    explicit Pause(std::shared_ptr<FileHandle> handle) : handle_(std::move(handle)) {}
    ~Pause() { handle_->endPause(); }
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;

  private:
    const std::shared_ptr<FileHandle> handle_;
};

std::shared_ptr<FileHandle::Pause> FileHandle::pause() {
    auto pause = std::make_shared<Pause>(shared_from_this());
    const std::lock_guard lock(mutex_);
    ++pauses_;
    return pause;
}

void FileHandle::endPause() {
    const std::lock_guard lock(mutex_);
    --pauses_;
    resumed_.notify_all();
}

/// Waits. Returns true when bytes or the end can be read, false when the handler was removed or
/// replaced meanwhile.
bool FileHandle::awaitReadable() {
    std::array<pollfd, 2> waiting{{{descriptor_, POLLIN, 0}, {wakeReading_, POLLIN, 0}}};
    if (::poll(waiting.data(), waiting.size(), -1) < 0) {
        return false;
    }
    if (waiting[1].revents == 0) {
        return true;
    }
    std::array<char, 64> wakeUps{};
    [[maybe_unused]] const auto drained = ::read(wakeReading_, wakeUps.data(), wakeUps.size());
    return false;
}

bool FileHandle::isReadable() const {
    pollfd readable{.fd = descriptor_, .events = POLLIN, .revents = 0};
    return ::poll(&readable, 1, 0) > 0;
}

/// Waits until bytes or the end can be read.
void FileHandle::awaitBytes() const {
    pollfd readable{.fd = descriptor_, .events = POLLIN, .revents = 0};
    while (descriptor_ >= 0 && ::poll(&readable, 1, -1) < 0 && errno == EINTR) {
    }
}

std::string FileHandle::availableData() {
    // The memory comes first: what was read cannot be put back.
    awaitBytes();
    int available = 0;
    ::ioctl(descriptor_, FIONREAD, &available);
    std::string bytes(static_cast<std::size_t>(std::clamp(available, 1, chunkSize)), '\0');
    ssize_t count = 0;
    do {
        count = ::read(descriptor_, bytes.data(), bytes.size());
    } while (count < 0 && errno == EINTR);
    // After closeReading() there is no descriptor, which is no failure.
    if (count < 0 && descriptor_ >= 0) {
        warnOfError("the output cannot be read");
    }
    if (count <= 0) {
        atEnd_ = true;
        return {};
    }
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
}

Pipe::Pipe() {
    const PipeDescriptors ends = closeOnExecPipe();
    if (ends.reading < 0) {
        warnOfError("no pipe can be created for the output");
    }
    writing_ = ends.writing;
    reading_ = FileHandle::create(ends.reading);
    reading_->postponed_ = true;
}

Pipe::~Pipe() {
    closeWriting();
}

void Pipe::closeReading() {
    reading_->setReadabilityHandler({});
    reading_ = FileHandle::create(-1);
}

std::optional<Error> Pipe::prepareReading() {
    if (const int error = reading_->endPostponement()) {
        return Error{std::generic_category().message(error)};
    }
    return std::nullopt;
}

void Pipe::closeWriting() {
    closeDescriptor(writing_);
    // Reports the end to a handler whose pipe was never given to a child.
    reading_->endPostponement();
}

} // namespace kestrelnet
