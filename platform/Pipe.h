// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace kestrelnet {

class Process;

/// The reading end of a pipe. While a handler is installed, a thread of the handle reads the pipe.
/// That thread keeps the handle, and so the descriptor, alive until it ends.
class FileHandle : public std::enable_shared_from_this<FileHandle> {
  public:
    /// Called on the reader thread each time bytes can be read, and a last time, with nothing to
    /// read, when all writing ends have been closed. Calls do not overlap: while a handler waits,
    /// nothing more is read, and the writer blocks once the pipe is full.
    using ReadabilityHandler = std::function<void(FileHandle&)>;

    /// Takes ownership of the descriptor and closes it with the object.
    static std::shared_ptr<FileHandle> create(int descriptor);
    ~FileHandle();
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;

    /// Installs `handler` and starts the reader thread. An empty `handler` removes the current one
    /// and ends the thread. May be called on any thread and inside the handler. Does not wait: a
    /// call of the old handler may still be running afterwards.
    void setReadabilityHandler(ReadabilityHandler handler);

    /// Waits until bytes are available and returns them, 64 KiB at most. Returns nothing when all
    /// writing ends have been closed or reading failed.
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
    // Set until a child has the writing end: no thread is started before, as there is nothing to
    // read. So the start of a child does not wait for the creation of a thread.
    bool postponed_ = false;
    // A pipe that ends the reader thread's wait when the handler is removed.
    int wakeReading_ = -1;
    int wakeWriting_ = -1;
};

/// An anonymous pipe. Both ends are closed on exec. A child gets the writing end through `Process`,
/// which closes it in this process afterwards.
class Pipe {
  public:
    /// When no descriptor is available, the reading end is at its end from the start, and a process
    /// that is given the pipe fails to start.
    Pipe();
    ~Pipe();
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    FileHandle& fileHandleForReading() { return *reading_; }

    /// Removes the handler and closes the reading end once the reader thread has ended. A child
    /// that writes gets SIGPIPE then. No other thread may use the pipe at that time.
    void closeReading();

  private:
    friend class Process;
    void closeWriting();

    int writing_ = -1;
    std::shared_ptr<FileHandle> reading_;
};

} // namespace kestrelnet
