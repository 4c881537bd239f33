// SPDX-License-Identifier: MIT
// leaving-program CASE [ARGUMENT]: a small application that quits while jobs or a child are
// running, and prints what happens on standard output.
#include "platform/Dispatch.h"
#include "platform/Pipe.h"
#include "platform/Process.h"

#include <QCoreApplication>

#include <array>
#include <atomic>
#include <future>
#include <iostream>
#include <string_view>
#include <unistd.h>

namespace {

using namespace kestrelnet;

int leaveRunningChild(const char* executable) {
    const auto process = Process::create();
    process->executablePath = executable;
    return process->run() ? 1 : 0;
}

/// The job that quits runs; jobs that wait then or are added later do not.
int leaveMainJobs(QCoreApplication& application) {
    const auto queue = dispatch::mainQueue();
    const auto say = [](const char* word) { return [word] { std::cout << word << '\n'; }; };
    const auto post = [&queue, &say] {
        queue->async(say("late"));
        queue->asyncAfter(Seconds(0), say("late and delayed"));
    };
    queue->asyncAfter(Seconds(3600), say("delayed for long"));
    queue->async([&] {
        std::cout << "leaving\n";
        QCoreApplication::quit();
        post();
    });
    QObject::connect(&application, &QCoreApplication::aboutToQuit, &application, post);
    application.exec();
    post();
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents();
    return 0;
}

/// A job that pauses the reading of a pipe is dropped.
int leavePausedReader(QCoreApplication& application) {
    const auto queue = dispatch::mainQueue();
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
        return 1;
    }
    const auto say = [&ends] { return ::write(ends[1], "x", 1) == 1; };
    std::promise<void> posted;
    std::promise<void> readAgain;
    const auto handle = FileHandle::create(ends[0]);
    handle->setReadabilityHandler([&, calls = 0](FileHandle& readable) mutable {
        readable.availableData();
        if (++calls > 1) {
            readAgain.set_value();
            return;
        }
        queue->async([pause = readable.pause()] { std::cout << "ran\n"; });
        posted.set_value();
    });
    queue->async([&] {
        QCoreApplication::quit();
        if (say()) {
            posted.get_future().wait();
        }
    });
    application.exec();
    if (!say()) {
        return 1;
    }
    readAgain.get_future().wait();
    handle->setReadabilityHandler({});
    std::cout << "read again\n";
    return 0;
}

/// A background job is still sleeping.
int leaveSleepingJob(QCoreApplication& application) {
    static std::promise<void> asleep;
    dispatch::mainQueue();
    dispatch::backgroundQueue()->async([] {
        asleep.set_value();
        dispatch::systemClock()->sleep(Seconds(3600));
    });
    dispatch::backgroundQueue()->asyncAfter(Seconds(3600), [] {});
    asleep.get_future().wait();
    dispatch::mainQueue()->async([] { QCoreApplication::quit(); });
    application.exec();
    std::cout << "left\n";
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    QCoreApplication application(count, arguments);
    const std::string_view name = count > 1 ? arguments[1] : "";
    if (name == "running-child" && count == 3) {
        return leaveRunningChild(arguments[2]);
    }
    if (name == "main-jobs") {
        return leaveMainJobs(application);
    }
    if (name == "paused-reader") {
        return leavePausedReader(application);
    }
    if (name == "sleeping-job") {
        return leaveSleepingJob(application);
    }
    return 64;
}
