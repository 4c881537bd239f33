// SPDX-License-Identifier: MIT
#include "platform/Pipe.h"

#include "platform/Descriptors.h"
#include "platform/Log.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

namespace kestrelnet {

namespace {

constexpr std::size_t chunkSize = 65536;

/// Logs `message` with the reason in errno.
void warnOfError(std::string_view message) {
    log::warning(log::Category::output, message, {errno, std::generic_category()});
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
    const std::lock_guard lock(mutex_);
    if (handler) {
        handler_ = std::make_shared<const ReadabilityHandler>(std::move(handler));
        if (!postponed_) {
            startReading();
        }
    } else if (handler_) {
        handler_.reset();
        [[maybe_unused]] const auto written = ::write(wakeWriting_, "", 1);
    }
}

void FileHandle::endPostponement() {
    const std::lock_guard lock(mutex_);
    if (std::exchange(postponed_, false) && handler_) {
        startReading();
    }
}

/// Needs the mutex. Without a thread, nothing is read. Without descriptors for the wake-up,
/// removing the handler does not wake the thread.
void FileHandle::startReading() {
    if (reading_ || atEnd_ || descriptor_ < 0) {
        return;
    }
    if (wakeReading_ < 0) {
        const PipeDescriptors wake = closeOnExecPipe();
        if (wake.reading < 0) {
            warnOfError("the reader thread cannot be woken");
        }
        wakeReading_ = wake.reading;
        wakeWriting_ = wake.writing;
        // A write to a full pipe must not block; its bytes wake the thread as well.
        ::fcntl(wakeWriting_, F_SETFL, O_NONBLOCK);
    }
    try {
        std::thread([self = shared_from_this()] { self->readUntilRemoved(); }).detach();
        reading_ = true;
    } catch (const std::system_error& error) {
        log::warning(log::Category::output,
                     "the output is not read, because no thread can be created", error.code());
        handler_.reset();
    }
}

void FileHandle::readUntilRemoved() {
    while (const auto handler = currentHandler()) {
        if (awaitReadable()) {
            (*handler)(*this);
        }
    }
}

/// The handler, or null when the reader thread must end.
std::shared_ptr<const FileHandle::ReadabilityHandler> FileHandle::currentHandler() {
    const std::lock_guard lock(mutex_);
    if (atEnd_) {
        handler_.reset();
    }
    reading_ = handler_ != nullptr;
    return handler_;
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

std::string FileHandle::availableData() {
    std::array<char, chunkSize> buffer; // NOLINT(*-member-init): read() fills what is used.
    ssize_t count = 0;
    do {
        count = ::read(descriptor_, buffer.data(), buffer.size());
    } while (count < 0 && errno == EINTR);
    // After closeReading() there is no descriptor, which is no failure.
    if (count < 0 && descriptor_ >= 0) {
        warnOfError("the output cannot be read");
    }
    if (count <= 0) {
        atEnd_ = true;
        return {};
    }
    return {buffer.data(), static_cast<std::size_t>(count)};
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

void Pipe::closeWriting() {
    closeDescriptor(writing_);
    reading_->endPostponement();
}

} // namespace kestrelnet
