// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Error.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace kestrelnet {

class Process;

/// The reading end of a pipe. While a handler is installed, a thread of the handle reads the pipe.
/// That thread keeps the handle, and so the descriptor, alive until it ends.
class FileHandle : public std::enable_shared_from_this<FileHandle> {
  public:
    /// Called on the reader thread each time bytes can be read, and a last time, with nothing to
    /// read, when all writing ends have been closed; drain() calls it on its own thread. Each call
    /// should read once. Calls do not overlap: while a handler waits, nothing more is read, and the
    /// writer blocks once the pipe is full. A handler that throws std::bad_alloc is called again
    /// after a tenth of a second; no other exception may leave it.
    using ReadabilityHandler = std::function<void(FileHandle&)>;

    /// While one exists, the reader thread does not call the handler.
    class Pause;

    /// Takes ownership of the descriptor and closes it with the object.
    static std::shared_ptr<FileHandle> create(int descriptor);
    ~FileHandle();
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;

    /// Installs `handler` and starts the reader thread. An empty `handler` removes the current one
    /// and ends the thread. May be called on any thread and inside the handler. Does not wait: a
    /// call of the old handler may still be running afterwards.
    ///
    /// When the thread cannot be created, or no descriptor is available to wake it, that is logged,
    /// and `handler` is not installed.
    void setReadabilityHandler(ReadabilityHandler handler);

    /// Stops the calls of the reader thread until the returned object has been destroyed. Any
    /// thread. A handler that posts what it has read lets the posted job own the object: then the
    /// next bytes are read only when the job has run or was dropped.
    std::shared_ptr<Pause> pause();

    /// Calls the handler on this thread, also during a pause, until it has read every byte that was
    /// in the pipe at the time of the call, and returns their number. Waits for a running call of
    /// the handler, but not for more bytes. Any thread, but not inside the handler.
    std::size_t drain();

    /// Waits until bytes are available and returns them, 64 KiB at most. Returns nothing when all
    /// writing ends have been closed or reading failed. Throws std::bad_alloc, and has read nothing
    /// then, when there is no memory for them.
    std::string availableData();

  private:
    friend class Pipe;
    using SharedHandler = std::shared_ptr<const ReadabilityHandler>;

    explicit FileHandle(int descriptor) : descriptor_(descriptor) {}
    int endPostponement();
    int startReading();
    int createWakePipe();
    void readUntilRemoved();
    bool awaitTurn();
    bool awaitReadable();
    bool isReadable() const;
    void awaitBytes() const;
    void callHandler();
    void call(const SharedHandler& handler);
    SharedHandler currentHandler();
    void endPause();

    const int descriptor_;
    std::atomic<bool> atEnd_ = false;

    // Held during each call of the handler. Locked before `mutex_`.
    std::mutex calling_;

    // A handler is never destroyed while this is locked: it may own objects that use the handle.
    std::mutex mutex_;
    std::condition_variable resumed_;
    SharedHandler handler_;
    int pauses_ = 0;
    bool reading_ = false;
    // Set until the pipe is about to be given to a child: no thread is started before, as there is
    // nothing to read.
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

    /// Creates what the installed handler needs: the reader thread and its descriptors. Without
    /// this call `Process` does it, immediately before it starts the child. Returns nothing on
    /// success, or the reason of the failure.
    [[nodiscard]] std::optional<Error> prepareReading();

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
