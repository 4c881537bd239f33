// SPDX-License-Identifier: MIT
#pragma once

#include "core/ClientOutput.h"
#include "core/Observable.h"
#include "core/OperatorValues.h"
#include "core/TunnelStatus.h"
#include "platform/Platform.h"
#include "platform/Process.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace kestrelnet {

/// The one controller: it starts, watches and stops the tunnel client, and tells what it knows.
///
/// Everything here is for the main thread alone; no member is guarded by a lock, and every notice
/// is sent there. Work elsewhere comes back as a job on the main queue that holds the controller
/// weakly and does nothing when it is gone. Nothing throws; failures show in `status` and
/// `lastLog`.
///
/// Held by a `std::shared_ptr`. Destroying it does not stop a running client.
class TunnelManager : public std::enable_shared_from_this<TunnelManager> {
    // Before the published members: the first value of `apiKey` comes from the settings.
    Platform platform_;
    OperatorValues operator_;

  public:
    /// Loads the key and looks for the helper; connects nothing, starts no thread and no timer.
    explicit TunnelManager(Platform platform = Platform::system(),
                           OperatorValues operatorValues = {});
    ~TunnelManager();
    TunnelManager(const TunnelManager&) = delete;
    TunnelManager& operator=(const TunnelManager&) = delete;

    /// Gets one notice before each assignment of a published member, and one after each write of
    /// `autoConnect` or `startAtLogin`.
    ObservableObjectPublisher objectWillChange;

    Published<TunnelStatus> status{objectWillChange, TunnelStatus::disconnected};
    /// The public address that the internet sees, as the last lookup to finish gave it.
    Published<std::optional<std::string>> exitIP{objectWillChange};
    /// The name of the home server, as the client told it.
    Published<std::optional<std::string>> serverLocation{objectWillChange};
    /// The client's latest line, or the latest message of the controller's own.
    Published<std::string> lastLog{objectWillChange};
    /// Whether the helper was there at start or after the last installation; not looked at again
    /// before a connect.
    Published<bool> helperInstalled{objectWillChange, false};
    /// The device key. Each assignment is written to the settings exactly as given.
    Published<std::string> apiKey;

    // -- Settings ------------------------------------------------------------------------------

    /// Whether to connect when the application starts. Read from the settings each time.
    bool autoConnect() const;
    void setAutoConnect(bool value);

    /// Whether the application is opened when the user logs in. Read from the settings each time:
    /// what the user chose, whatever became of it.
    bool startAtLogin() const;
    /// Stores the choice, announces it, then installs or removes the login agent, also when nothing
    /// changes. Returns once the service manager's command has ended; a failure shows nowhere.
    void setStartAtLogin(bool value);

    /// Whether the key has the form of a device key: "dev_" and more than 10 characters in all.
    bool isConfigured() const;

    /// Where the client is: inside the bundle, in the user's own folder, or in the system's; none
    /// when it is nowhere. The file system is asked each time.
    std::optional<std::string> binaryPath() const;
    bool binaryInstalled() const { return binaryPath().has_value(); }

    /// The shell command that installs the client. Shown when the client is missing.
    std::string installCommand() const;

    /// The values that the operator of the service chose at build time.
    const OperatorValues& operatorValues() const { return operator_; }

    // -- Connect and disconnect ----------------------------------------------------------------

    /// Starts the client, through the helper when it is installed and behind the administrator
    /// prompt otherwise. Without a valid key only `lastLog` says so; without a client `status`
    /// becomes `error`; ignored while a run is starting or up.
    void connect();

    /// Asks the client to end and returns. A client that is still there after 3.0 seconds is
    /// killed. `status` becomes `disconnected` once it is gone; at once when nothing runs. A run
    /// that is started before then is forgotten as well, and goes on unwatched.
    void disconnect();

    /// Connects when disconnected or after an error; disconnects otherwise.
    void toggle();

    // -- The privileged helper -----------------------------------------------------------------

    /// Installs the helper, behind the administrator prompt, by the script that comes with the
    /// application. Calls `completion` once, on the main thread, with whether the helper is there
    /// afterwards, whatever became of the prompt; `helperInstalled` says the same. Two requests at
    /// a time ask twice.
    ///
    /// Without a script the client that is found becomes the helper by a command that the prompt
    /// refuses to run; without a client `completion` gets false before this returns.
    void installHelper(const std::function<void(bool)>& completion);

    // -- Uninstalling --------------------------------------------------------------------------

    /// Removes what the application has brought, but not itself: the login agent, the helper
    /// (behind the administrator prompt, when it is there), the user's folder .kestrelnet, the
    /// lines that mention it in the shells' start-up files, and the settings. Unless disconnected
    /// it disconnects first and gives that 2.0 seconds.
    ///
    /// Calls `completion` once, on the main thread, whatever could be removed; before this returns
    /// when the status is disconnected and there is no helper. Never, when the controller goes
    /// first. The published members but `helperInstalled` keep their values.
    void uninstall(const std::function<void()>& completion);

  private:
    // The private members that no effect shows, for the tests to read.
    friend struct TunnelManagerInspector;

    // Launch
    void startViaHelper();
    void startViaOsascript();
    std::string launcherPath() const;
    std::string fifoPath() const;

    // Output
    void readOutput(FileHandle& handle);
    void forgetOutput();
    void handleOutput(std::string_view text);
    void handleLine(std::string_view line);

    // End
    Process::TerminationHandler terminationHandler();
    void handleTermination(const Process& process);
    void cleanupAfterDisconnect();

    // Exit IP
    void fetchExitIP();

    // Administrator's rights

    /// Runs a shell command line as root behind the administrator prompt and returns at once.
    /// `completion` gets whether it exited with status 0: on a background thread, or with false on
    /// this one when it could not be tried.
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

    /// Computed once, on first use.
    std::string launchAgentPath_;

    static constexpr std::int64_t maxLogLines = 200;

    std::shared_ptr<Process> tunnelProcess_;
    std::shared_ptr<Pipe> outputPipe_;
    RollingLog logLines_{maxLogLines};
};

} // namespace kestrelnet
