// SPDX-License-Identifier: MIT
// Tests the program that follows the pipe of a run.
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace kestrelnet {
namespace {

using testing::HasSubstr;

class TailTest : public testing::Test {
  protected:
    TailTest() { EXPECT_EQ(::mkfifo(fifo.c_str(), 0600), 0); }

    ~TailTest() override {
        closeOutput();
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
    }

    void start(const std::vector<std::string>& arguments) {
        std::array<int, 2> output{-1, -1};
        ASSERT_EQ(::pipe2(output.data(), O_CLOEXEC), 0);
        output_ = output[0];
        run(arguments, output[1]);
        ::close(output[1]);
    }
    void follow() { start({"-f", fifo}); }
    /// Starts it with a standard output that has no reader.
    void startUnread(const std::vector<std::string>& arguments) {
        std::array<int, 2> output{-1, -1};
        ASSERT_EQ(::pipe2(output.data(), O_CLOEXEC), 0);
        ::close(output[0]);
        run(arguments, output[1]);
        ::close(output[1]);
    }

    void closeOutput() {
        if (output_ >= 0) {
            ::close(std::exchange(output_, -1));
        }
    }

    /// Waits for a reader and opens the pipe for writing.
    int openWriter() const {
        int writer = -1;
        EXPECT_TRUE(waitFor([&] {
            return (writer = ::open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)) >= 0;
        }));
        ::fcntl(writer, F_SETFL, 0);
        return writer;
    }
    static void write(int writer, std::string_view text) {
        EXPECT_EQ(::write(writer, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    /// Reads `size` bytes of the output; fewer after ten seconds without output or at its end.
    std::string read(std::size_t size) const {
        std::string text;
        while (text.size() < size) {
            pollfd ready{.fd = output_, .events = POLLIN, .revents = 0};
            std::array<char, 65536> chunk{};
            const ssize_t count =
                ::poll(&ready, 1, 10000) == 1
                    ? ::read(output_, chunk.data(), std::min(chunk.size(), size - text.size()))
                    : 0;
            if (count <= 0) {
                break;
            }
            text.append(chunk.data(), static_cast<std::size_t>(count));
        }
        return text;
    }
    /// Waits for the end and returns the exit status.
    int result() {
        int status = 0;
        const pid_t pid = std::exchange(pid_, -1);
        if (!waitFor([&] { return ::waitpid(pid, &status, WNOHANG) == pid; })) {
            ::kill(pid, SIGKILL);
            return -1;
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    std::string errors() const { return readFile(errorFile_); }
    int pid() const { return pid_; }
    int output() const { return output_; }

    TemporaryFolder folder;
    std::string fifo = folder.file("a pipe");

  private:
    void run(const std::vector<std::string>& arguments, int output) {
        pid_ = ::fork();
        if (pid_ == 0) {
            ::dup2(output, STDOUT_FILENO);
            ::dup2(::open(errorFile_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDERR_FILENO);
            std::vector<char*> pointers{const_cast<char*>("tail")};
            for (const std::string& argument : arguments) {
                pointers.push_back(const_cast<char*>(argument.c_str()));
            }
            pointers.push_back(nullptr);
            ::execv(KESTRELNET_TAIL, pointers.data());
            ::_exit(127);
        }
    }

    std::string errorFile_ = folder.file("errors");
    pid_t pid_ = -1;
    int output_ = -1;
};

TEST_F(TailTest, copiesFromTheFirstByteWithoutDelay) {
    follow();
    const int writer = openWriter();
    for (const std::string_view text : {"a", "b\n", "\xFF\0x", "long line without an end"}) {
        write(writer, text);
        EXPECT_EQ(read(text.size()), text);
    }
    ::close(writer);
}

TEST_F(TailTest, copiesBytesThatWereWrittenBeforeItsStart) {
    const int early = ::open(fifo.c_str(), O_RDWR | O_CLOEXEC);
    write(early, "early\n");
    follow();
    EXPECT_EQ(read(6), "early\n");
    ::close(early);
}

TEST_F(TailTest, releasesAWaitingWriter) {
    const pid_t writer = ::fork();
    if (writer == 0) {
        const int pipe = ::open(fifo.c_str(), O_WRONLY | O_CLOEXEC);
        ::_exit(::write(pipe, "there", 5) == 5 ? 0 : 1);
    }
    follow();
    EXPECT_EQ(read(5), "there");
    int status = -1;
    ::waitpid(writer, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST_F(TailTest, continuesAfterAWriterHasClosedThePipe) {
    follow();
    for (int writer = 0; writer < 5; ++writer) {
        const int pipe = openWriter();
        write(pipe, std::to_string(writer));
        ::close(pipe);
        EXPECT_EQ(read(1), std::to_string(writer));
    }
    EXPECT_EQ(::waitpid(pid(), nullptr, WNOHANG), 0);
}

TEST_F(TailTest, sleepsWhileNobodyWrites) {
    follow();
    ::close(openWriter());
    // Each turn of its loop would be a voluntary context switch.
    const std::string status = "/proc/" + std::to_string(pid()) + "/status";
    const auto switches = [&status] {
        const std::string text = readFile(status);
        return text.substr(text.find("voluntary_ctxt_switches"));
    };
    std::string before;
    int same = 0;
    EXPECT_TRUE(waitFor([&] {
        const std::string now = switches();
        same = now == before ? same + 1 : 0;
        before = now;
        return same == 50;
    }));
}

TEST_F(TailTest, endsWithoutAReaderEvenIfNobodyWrites) {
    follow();
    ::close(openWriter());
    closeOutput();
    EXPECT_EQ(result(), 0);
    EXPECT_EQ(errors(), "");
}

TEST_F(TailTest, endsWithoutAReaderWhileItWaitsToWrite) {
    follow();
    const int writer = openWriter();
    ::fcntl(writer, F_SETFL, O_NONBLOCK);
    const std::string chunk(65536, 'x');
    // Write until both pipes are full, so that it waits for its reader.
    EXPECT_TRUE(waitFor([&] {
        int waiting = 0;
        ::ioctl(output(), FIONREAD, &waiting);
        return ::write(writer, chunk.data(), chunk.size()) < 0 && waiting == 65536;
    }));
    closeOutput();
    EXPECT_EQ(result(), 0);
    ::close(writer);
}

// So what has left the first pipe has arrived in the second one.
TEST_F(TailTest, keepsNothingBetweenTheTwoPipes) {
    follow();
    const int writer = openWriter();
    ::fcntl(writer, F_SETFL, O_NONBLOCK);
    const std::string chunk(4096, 'x');
    int written = 0;
    int left = 0;
    int arrived = 0;
    EXPECT_TRUE(waitFor([&] {
        if (const ssize_t size = ::write(writer, chunk.data(), chunk.size()); size > 0) {
            written += static_cast<int>(size);
            return false;
        }
        ::ioctl(writer, FIONREAD, &left);
        ::ioctl(output(), FIONREAD, &arrived);
        return arrived == 65536 && left == 65536;
    }));
    EXPECT_EQ(left + arrived, written);
    ::close(writer);
}

TEST_F(TailTest, losesNothingWithASlowReader) {
    follow();
    const pid_t writer = ::fork();
    constexpr int lines = 100000;
    if (writer == 0) {
        FILE* const pipe = ::fopen(fifo.c_str(), "w");
        for (int line = 0; line < lines; ++line) {
            std::fprintf(pipe, "%d\n", line);
        }
        ::_exit(std::fclose(pipe));
    }
    std::string expected;
    for (int line = 0; line < lines; ++line) {
        expected += std::to_string(line) + "\n";
    }
    EXPECT_EQ(read(expected.size()), expected);
    ::waitpid(writer, nullptr, 0);
}

TEST_F(TailTest, doesNotReadThePipeWithoutAReader) {
    const int other = ::open(fifo.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    write(other, "another run's");
    startUnread({"-f", fifo});
    EXPECT_EQ(result(), 0);
    EXPECT_EQ(errors(), "");
    std::array<char, 32> left{};
    EXPECT_EQ(::read(other, left.data(), left.size()), 13);
    ::close(other);
}

TEST_F(TailTest, endsSilentlyIfThePipeIsMissing) {
    start({"-f", folder.file("missing")});
    EXPECT_EQ(result(), 0);
    EXPECT_EQ(errors(), "");
}

TEST_F(TailTest, refusesAFileThatIsNoPipe) {
    start({"-f", folder.write("file", "text")});
    EXPECT_EQ(result(), 1);
    EXPECT_EQ(errors(), "tail: " + folder.file("file") + ": not a named pipe\n");
}

TEST_F(TailTest, followsNoLink) {
    const std::string link = folder.file("link");
    ASSERT_EQ(::symlink(fifo.c_str(), link.c_str()), 0);
    start({"-f", link});
    EXPECT_EQ(result(), 1);
    EXPECT_EQ(errors(), "tail: " + link + ": not a named pipe\n");
}

TEST_F(TailTest, requiresTwoArguments) {
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {}, {"-f"}, {fifo}, {"-n", fifo}, {"-f", fifo, fifo}}) {
        start(arguments);
        EXPECT_EQ(result(), 1);
        EXPECT_THAT(errors(), HasSubstr("tail -f PIPE"));
        closeOutput();
    }
}

} // namespace
} // namespace kestrelnet
