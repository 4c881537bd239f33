// SPDX-License-Identifier: MIT
// Uses the application from outside for a long time, in random order, and reports what grows per
// operation: memory, descriptors and threads; and whether an operation becomes slower.
//
// Runs on the quiet desktop, where the helper is a client that writes nothing for a minute.

#include "benchmarks/Figures.h"
#include "benchmarks/Session.h"
#include "tests/support/Random.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <numeric>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace kestrelnet::benchmarks;

using Random = std::mt19937;

/// How much is done. One cycle contains a block of each operation, in random order. A block has
/// several steps, and the memory is measured after each.
struct Extent {
    int warmUpCycles;
    int cycles;
    /// Of each operation in a step, in the order of operations().
    std::vector<int> counts;
    /// The largest growth of memory per cycle, in KiB.
    double bound;
    /// On a busy machine times say nothing.
    bool judgesTime;
};

constexpr int steps = 4;

// A tenth of a month of use.
const Extent whole{.warmUpCycles = 2,
                   .cycles = 10,
                   .counts = {13, 9, 8, 80, 7500},
                   .bound = 64,
                   .judgesTime = true};
const Extent brief{.warmUpCycles = 2,
                   .cycles = 6,
                   .counts = {2, 2, 2, 10, 1000},
                   .bound = 128,
                   .judgesTime = false};

/// An operation of the user or of the client.
struct Operation {
    const char* name;
    bool needsConnection;
    /// The largest growth of memory per operation, in KiB.
    double bound;
    std::function<void(Session&, int count, Random&)> run;
    std::function<void(Session&, Random&)> prepare = {};
};

/// What the program uses once it is quiet. Memory is in KiB.
struct Use {
    /// Pages that hold no file: other programs that share files do not change it.
    double own;
    double proportional;
    double resident;
    /// Processor time, in milliseconds.
    double processor;
};

/// The differences per operation between the steps of all blocks after the warm-up.
struct Growth {
    int count = 0;
    std::vector<double> own;
    std::vector<double> proportional;
    std::vector<double> resident;
    std::vector<double> processor;
};

int draw(Random& random, int least, int most) {
    return std::uniform_int_distribution<int>(least, most)(random);
}

// -- Operations ---------------------------------------------------------------------------------

void connectAndDisconnect(Session& session, int count, Random& /*random*/) {
    for (int i = 0; i < count; ++i) {
        session.connect();
        session.disconnect();
    }
}

void openAndCloseSettings(Session& session, int count, Random& /*random*/) {
    for (int i = 0; i < count; ++i) {
        session.openSettings();
        session.closeSettings();
    }
}

void openAndClosePanel(Session& session, int count, Random& /*random*/) {
    for (int i = 0; i < count; ++i) {
        session.openPanel();
        session.closePanel();
    }
}

void lookUp(Session& session, int count, Random& random) {
    while (count > 0) {
        const int now = std::min(count, draw(random, 1, 8));
        session.lookUp(now);
        count -= now;
    }
}

std::string word(Random& random, int length) {
    std::string text;
    while (length-- > 0) {
        text +=
            draw(random, 0, 9) == 0 ? "\u00e9" : std::string(1, "etaoinshr "[draw(random, 0, 9)]);
    }
    return text;
}

constexpr int longestLine = 2000;

/// A line that changes the controller's state, and starts no lookup.
std::string line(Random& random) {
    switch (draw(random, 0, 9)) {
    case 0:
        return "Discovered home server: " + word(random, 12) + " (198.51.100.7)\n";
    case 1:
        return "Connected to relay 192.0.2.1:443\n";
    case 2:
        return "Network changed, looking for a new path\n";
    case 3:
        return "error: a packet failed, " + word(random, 20) + '\n';
    case 4:
        return word(random, draw(random, 200, longestLine)) + '\n';
    default:
        return word(random, draw(random, 10, 100)) + '\n';
    }
}

/// The log reuses the memory of its oldest line for the newest. Makes all of them long, so that
/// this memory does not grow any more.
void fillLog(Session& session, Random& random) {
    constexpr int logLines = 200;
    for (int i = 0; i < 2 * logLines; ++i) {
        session.write(word(random, longestLine) + '\n');
    }
    session.awaitRead();
}

/// Lets the client write lines, single ones and many at a time, while no window is open or one is.
void changeState(Session& session, int count, Random& random) {
    const int window = draw(random, 0, 2);
    if (window == 1) {
        session.openPanel();
    } else if (window == 2) {
        session.openSettings();
    }
    while (count > 0) {
        std::string output;
        for (int left = std::min(count, draw(random, 1, 100)); left > 0; --left, --count) {
            output += line(random);
        }
        session.write(output);
        if (draw(random, 0, 49) == 0) {
            session.write("not UTF-8: \xff\n");
            session.awaitRead();
        }
    }
    session.awaitHandled();
    if (window == 1) {
        session.closePanel();
    } else if (window == 2) {
        session.closeSettings();
    }
}

const std::vector<Operation>& operations() {
    static const std::vector<Operation> all{
        {"connect", false, 1, connectAndDisconnect},
        {"settings window", false, 1, openAndCloseSettings},
        {"panel", false, 1, openAndClosePanel},
        {"lookup", true, 1, lookUp},
        {"change of state", true, 0.01, changeState, fillLog},
    };
    return all;
}

// -- Cycles -------------------------------------------------------------------------------------

class Endurance {
  public:
    Endurance(Session& session, Extent extent, Random random)
        : session_(session), extent_(std::move(extent)), random_(random),
          growth_(operations().size()) {}

    void run() {
        for (int cycle = -extent_.warmUpCycles; cycle < extent_.cycles; ++cycle) {
            runCycle(cycle >= 0);
        }
    }

    /// Returns whether all figures hold.
    bool judge() const;

  private:
    void runCycle(bool isMeasured);
    void runBlock(std::size_t index, bool isMeasured);
    void prepare(const Operation& operation);
    Use use() const;
    bool judgeMemory(std::size_t index) const;
    bool judgeCost(std::size_t index) const;

    Session& session_;
    Extent extent_;
    Random random_;
    std::vector<Growth> growth_;
    // At the end of each cycle, without a connection.
    std::vector<double> memory_;
    std::vector<int> descriptors_;
    std::vector<int> threads_;
};

Use Endurance::use() const {
    constexpr double kibibytes = 1024;
    session_.awaitQuiet();
    const ChildProcess& program = session_.program();
    return {.own = program.ownMemory() * kibibytes,
            .proportional = program.memory() * kibibytes,
            .resident = program.residentMemory() * kibibytes,
            .processor = program.processorMilliseconds()};
}

/// Connects or disconnects as the operation needs it; at random when it needs neither.
void Endurance::prepare(const Operation& operation) {
    const bool startsItself = std::strcmp(operation.name, "connect") == 0;
    const bool wanted = operation.needsConnection || (!startsItself && draw(random_, 0, 1) == 1);
    if (wanted && !session_.isConnected()) {
        session_.connect();
    } else if (!wanted && session_.isConnected()) {
        session_.disconnect();
    }
}

void Endurance::runCycle(bool isMeasured) {
    std::vector<std::size_t> order(operations().size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::shuffle(order.begin(), order.end(), random_);
    for (const std::size_t index : order) {
        runBlock(index, isMeasured);
    }
    // The log is that of a short run then.
    if (session_.isConnected()) {
        session_.disconnect();
    }
    session_.connect();
    session_.disconnect();
    const double memory = use().own;
    if (isMeasured) {
        memory_.push_back(memory);
        descriptors_.push_back(session_.program().descriptorCount());
        threads_.push_back(session_.program().threadCount());
    }
}

/// The first step brings the program into the state in which the others are compared.
void Endurance::runBlock(std::size_t index, bool isMeasured) {
    const Operation& operation = operations()[index];
    const int count = extent_.counts[index];
    prepare(operation);
    if (operation.prepare) {
        operation.prepare(session_, random_);
    }
    std::optional<Use> before;
    for (int step = 0; step < steps; ++step) {
        operation.run(session_, count, random_);
        const Use after = use();
        if (isMeasured && before) {
            Growth& growth = growth_[index];
            growth.count += count;
            growth.own.push_back((after.own - before->own) / count);
            growth.proportional.push_back((after.proportional - before->proportional) / count);
            growth.resident.push_back((after.resident - before->resident) / count);
            growth.processor.push_back((after.processor - before->processor) / count);
        }
        before = after;
    }
}

// -- Report -------------------------------------------------------------------------------------

/// The mean of the middle half: a page that is touched or released now and then does not count,
/// what grows each time does.
double middleMean(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    const auto quarter = static_cast<std::ptrdiff_t>(samples.size() / 4);
    const auto first = samples.begin() + quarter;
    const auto last = samples.end() - quarter;
    return std::accumulate(first, last, 0.0) / static_cast<double>(last - first);
}

/// The median of the slopes between any two samples.
double slope(const std::vector<double>& samples) {
    std::vector<double> slopes;
    for (std::size_t first = 0; first < samples.size(); ++first) {
        for (std::size_t second = first + 1; second < samples.size(); ++second) {
            slopes.push_back((samples[second] - samples[first]) /
                             static_cast<double>(second - first));
        }
    }
    return median(std::move(slopes));
}

int growth(const std::vector<int>& samples) {
    return *std::max_element(samples.begin(), samples.end()) - samples.front();
}

bool Endurance::judgeMemory(std::size_t index) const {
    const Operation& operation = operations()[index];
    const Growth& growth = growth_[index];
    const auto grown = [](const char* name, const std::vector<double>& samples) {
        return std::string(name) + ' ' + number(middleMean(samples), 4) + " KiB, ";
    };
    return report({std::string("Memory per ") + operation.name, middleMean(growth.own),
                   Bound::atMost, operation.bound, " KiB", 4,
                   std::to_string(growth.count) + " of them, " + grown("PSS", growth.proportional) +
                       grown("RSS", growth.resident) + "processor time " +
                       number(median(growth.processor), 3) + " ms each"});
}

bool Endurance::judgeCost(std::size_t index) const {
    const auto& costs = growth_[index].processor;
    const auto middle = costs.begin() + static_cast<std::ptrdiff_t>(costs.size() / 2);
    const double first = median({costs.begin(), middle});
    const double second = median({middle, costs.end()});
    return report(
        {std::string("Processor time per ") + operations()[index].name + ", second half over first",
         second / first, Bound::atMost, 1.5, " x", 2,
         number(second, 3) + " ms after " + number(first, 3) + " ms"});
}

bool Endurance::judge() const {
    bool holds = true;
    for (std::size_t index = 0; index < operations().size(); ++index) {
        holds = judgeMemory(index) && holds;
    }
    holds = report({"Memory per cycle of all operations", slope(memory_), Bound::atMost,
                    extent_.bound, " KiB", 1,
                    "from " + number(memory_.front(), 0) + " to " + number(memory_.back(), 0) +
                        " KiB in " + std::to_string(memory_.size()) + " cycles"}) &&
            holds;
    const auto count = [&](const char* name, const std::vector<int>& samples) {
        holds = report({name, static_cast<double>(growth(samples)), Bound::atMost, 0, "", 0,
                        std::to_string(samples.front()) + " at first"}) &&
                holds;
    };
    count("Growth of descriptors", descriptors_);
    count("Growth of threads", threads_);
    for (std::size_t index = 0; index < operations().size() && extent_.judgesTime; ++index) {
        holds = judgeCost(index) && holds;
    }
    return holds;
}

} // namespace

int main(int argc, char* argv[]) {
    const bool isBrief = argc == 4 && std::strcmp(argv[3], "--short") == 0;
    if (argc != 3 && !isBrief) {
        giveUp("usage: endurance APPLICATION ANSWERS [--short]");
    }
    const Random random = kestrelnet::seededGenerator();
    Surroundings around;
    around.serveUntil([&] { return around.screen.hasWindowManager(); },
                      "there is no window manager", std::chrono::milliseconds(5));
    writeSettings(false);
    Session session(around, argv[1], argv[2]);
    Endurance endurance(session, isBrief ? brief : whole, random);
    endurance.run();
    return endurance.judge() ? 0 : 2;
}
