// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace kestrelnet {

class Process;

/// The reading end of a pipe, read by a thread of its own while a handler is installed. That thread
/// keeps the handle, and so the descriptor, until it ends.
class FileHandle : public std::enable_shared_from_this<FileHandle> {
  public:
    /// Called on the handle's reader thread each time bytes can be read, and once more, with
    /// nothing to read, when every writing end has been closed; then never again. The next call
    /// comes only after this one has returned, so a handler that waits slows the writer down.
    using ReadabilityHandler = std::function<void(FileHandle&)>;

    /// The descriptor is owned from here on; closed with the object.
    static std::shared_ptr<FileHandle> create(int descriptor);
    ~FileHandle();
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;

    /// Installs `handler` and starts the reader thread, or removes the handler when it is empty and
    /// lets the thread end. Any thread, the handler's own included. Does not wait for the thread: a
    /// call that is under way when the handler is removed still finishes.
    void setReadabilityHandler(ReadabilityHandler handler);

    /// All bytes that can be read at once, 64 KiB at most; waits for the first one. Empty when the
    /// writing end has been closed, or reading failed.
    std::string availableData();

  private:
    friend class Pipe;
    explicit FileHandle(int descriptor) : descriptor_(descriptor) {}
    void endPostponement();
    void startReading();
    void readUntilRemoved();
    bool awaitReadable();
    std::shared_ptr<const ReadabilityHandler> currentHandler();

    const int descriptor_;
    std::atomic<bool> atEnd_ = false;

    std::mutex mutex_;
    std::shared_ptr<const ReadabilityHandler> handler_;
    bool reading_ = false;
    // As long as only the pipe itself holds the writing end, there is nothing to read and no thread
    // needed to wait for it; so starting a child does not wait for the thread to be made.
    bool postponed_ = false;
    // Ends the wait of the reader thread when the handler is removed.
    int wakeReading_ = -1;
    int wakeWriting_ = -1;
};

/// An anonymous pipe. Both ends are closed on exec; a child gets the writing end only through
/// `Process`, which closes it here once the child has it.
class Pipe {
  public:
    /// Where no descriptor can be had, the reading end is at its end from the start, and a process
    /// that is given the pipe fails to start.
    Pipe();
    ~Pipe();
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    FileHandle& fileHandleForReading() { return *reading_; }

    /// Gives the reading end up, its handler included: from then on it is at its end, and a child
    /// that is given the pipe finds that nobody reads. For the last who holds the pipe.
    void closeReading();

  private:
    friend class Process;
    void closeWriting();

    int writing_ = -1;
    std::shared_ptr<FileHandle> reading_;
};

} // namespace kestrelnet
