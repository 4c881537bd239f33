// SPDX-License-Identifier: MIT
#pragma once

#include "core/ClientOutput.h"
#include "core/Observable.h"
#include "core/OperatorValues.h"
#include "core/Platform.h"
#include "core/TunnelStatus.h"
#include "platform/Process.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace kestrelnet {

/// The controller: starts, observes and stops the tunnel client, and publishes its state. The
/// application has exactly one.
///
/// Main thread only: no member is locked, and every notice is sent on the main thread. Work on
/// other threads returns as a job on the main queue. The job holds the controller weakly and does
/// nothing when the controller was destroyed. No operation throws; failures are reported in
/// `status` and `lastLog`, and in the log (platform/Log.h).
///
/// Must be owned by a `std::shared_ptr`. The destructor does not stop a running client.
class TunnelManager : public std::enable_shared_from_this<TunnelManager> {
    // Declared before the published members, because `apiKey` is initialised from the settings.
    Platform platform_;
    OperatorValues operator_;

  public:
    /// Loads the key from the settings and tests whether the helper exists. Does not connect, and
    /// starts no thread and no timer.
    explicit TunnelManager(Platform platform = Platform::system(),
                           OperatorValues operatorValues = {});
    ~TunnelManager();
    TunnelManager(const TunnelManager&) = delete;
    TunnelManager& operator=(const TunnelManager&) = delete;

    /// Sends one notice before each assignment of a published member, and one after each write of
    /// `autoConnect` or `startAtLogin`.
    ObservableObjectPublisher objectWillChange;

    /// The connection state.
    Published<TunnelStatus> status;
    /// The public IP address, from the last lookup that finished.
    Published<std::optional<std::string>> exitIP{objectWillChange};
    /// The name of the home server, from the client's output.
    Published<std::optional<std::string>> serverLocation{objectWillChange};
    /// The latest line of the client's output, or the latest message of the controller itself.
    Published<std::string> lastLog{objectWillChange};
    /// Whether the helper existed when the controller was created or after the last installation;
    /// false after an uninstall. connect() does not test again.
    Published<bool> helperInstalled{objectWillChange, false};
    /// The device key. Each assignment is written to the settings exactly as given; see
    /// isKeyStored().
    Published<std::string> apiKey;

    // -- Settings ------------------------------------------------------------------------------

    /// Whether to connect when the application starts. Each call reads the settings.
    bool autoConnect() const;
    void setAutoConnect(bool value);

    /// Whether the user chose to open the application at login. Each call reads the settings; the
    /// login agent itself is not tested.
    bool startAtLogin() const;
    /// Stores the choice, sends the notice, then installs or removes the login agent, even when the
    /// choice did not change. Blocks until launchctl has ended. Failures are only logged.
    void setStartAtLogin(bool value);

    /// Whether `apiKey` has the form of a device key, see isDeviceKey().
    bool isConfigured() const;

    /// False when the last assignment of `apiKey` could not be written to the settings: they still
    /// hold the earlier key.
    bool isKeyStored() const { return isKeyStored_; }

    /// The path of the client: in the bundle, in the user's own folder, or in the system's folder,
    /// tested in this order. No value when there is none. Each call reads the file system.
    std::optional<std::string> binaryPath() const;
    bool binaryInstalled() const { return binaryPath().has_value(); }

    /// The shell command that installs the client. Shown when the client is missing.
    std::string installCommand() const;

    /// The values that the operator of the service chose at build time.
    const OperatorValues& operatorValues() const { return operator_; }

    // -- Connect and disconnect ----------------------------------------------------------------

    /// Starts the client: through the helper when `helperInstalled` is true, otherwise behind the
    /// administrator prompt. Without a valid key only `lastLog` changes. Without a client `status`
    /// becomes `error`. Does nothing unless the status is `disconnected` or `error`.
    void connect();

    /// Asks the client to end and returns. A client that still runs after 3.0 seconds is killed.
    /// `status` becomes `disconnected` when the client has ended, or immediately when none runs. If
    /// connect() starts another client before that, this controller loses track of it, and it
    /// continues to run; its standard output is then read and discarded. Does not fail: connect()
    /// created the thread that it needs.
    void disconnect();

    /// Connects when disconnected or after an error; disconnects otherwise.
    void toggle();

    // -- The privileged helper -----------------------------------------------------------------

    /// Installs the helper behind the administrator prompt, with the script that comes with the
    /// application. Calls `completion` once, on the main thread, with whether the helper exists
    /// afterwards, even when the prompt was dismissed. `helperInstalled` is set to the same value.
    /// Two calls at the same time show two prompts.
    ///
    /// Without the script, a command that makes the client the helper is passed to the prompt,
    /// which refuses it because it contains double quotes. Without a client, `completion` is called
    /// with false before this returns.
    void installHelper(const std::function<void(bool)>& completion);

    // -- Uninstalling --------------------------------------------------------------------------

    /// Removes what the application has installed, but not the application itself: the login agent,
    /// the helper (behind the administrator prompt, if it exists), the user's folder .kestrelnet,
    /// the lines that contain ".kestrelnet" in the shells' start-up files, and the settings. Unless
    /// the status is `disconnected`, it disconnects first and continues 2.0 seconds later.
    ///
    /// Calls `completion` once, on the main thread, even when something could not be removed. When
    /// the status is `disconnected` and there is no helper, that happens before this returns. When
    /// the controller is destroyed first, `completion` is never called. Of the published members
    /// only `helperInstalled` changes.
    void uninstall(const std::function<void()>& completion);

  private:
    // Lets tests read private members that have no observable effect.
    friend struct TunnelManagerInspector;

    // Launch
    void startViaHelper();
    void startViaOsascript();
    [[nodiscard]] std::optional<Error> prepareReader(const std::shared_ptr<Pipe>& output,
                                                     std::unique_ptr<PreparedJob>& start) const;
    void reportFailedStart(std::string_view prefix, const Error& error);
    void createRunFiles(const std::string& clientPath);
    std::string launcherPath() const;
    std::string fifoPath() const;

    // Output
    void readOutput(FileHandle& handle, const std::shared_ptr<const bool>& isForgotten = {});
    void forgetOutput();
    void handleOutput(std::string_view text);
    void handleLine(std::string_view line, MarkerGroup group);

    // End
    Process::TerminationHandler terminationHandler();
    void handleTermination(const Process& process);
    [[nodiscard]] std::optional<Error> prepareStop();
    Queue::Job stopJob();
    void cleanupAfterDisconnect();

    // Exit IP
    void fetchExitIP();

    // Administrator's rights

    /// Runs a shell command line as root behind the administrator prompt and returns immediately.
    /// Calls `completion` with whether the command exited with status 0, on a background thread; or
    /// with false on this thread when the prompt could not be started.
    void runWithAdminPrivileges(const std::string& command,
                                const std::function<void(bool)>& completion);
    void installHelperInline(const std::function<void(bool)>& completion);
    std::function<void(bool)> refreshHelper(const std::function<void(bool)>& completion);

    // Start at login
    const std::string& launchAgentPath();
    void installLaunchAgent();
    void removeLaunchAgent();
    void runLaunchctl(const std::string& subcommand);

    // Uninstalling
    void performUninstall(const std::function<void()>& completion);
    void finishUninstall(const std::string& home, const std::function<void()>& completion);

    /// Computed on first use.
    std::string launchAgentPath_;

    bool isKeyStored_ = true;

    static constexpr std::int64_t maxLogLines = 200;

    std::shared_ptr<Process> tunnelProcess_;
    /// The output of `tunnelProcess_`; never set without it.
    std::shared_ptr<Pipe> outputPipe_;
    /// Whether what comes from `outputPipe_` is to be handled no more. Each run has its own.
    std::shared_ptr<bool> isOutputForgotten_;
    /// The background part of the first stop of `tunnelProcess_`, until that stop begins.
    std::unique_ptr<PreparedJob> stop_;
    /// The path of the FIFO of the latest launch behind the administrator prompt. A weak reference
    /// expires when a later launch replaces the FIFO.
    std::shared_ptr<const std::string> fifo_;
    RollingLog logLines_{maxLogLines};
};

} // namespace kestrelnet
