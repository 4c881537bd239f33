// SPDX-License-Identifier: MIT
// Clients of several processes, as texts of shell scripts without their first line.
#pragma once

#include <string>

namespace kestrelnet::scripts {

/// The scripts note each SIGTERM that they get in this file.
inline constexpr const char* asked = "/tmp/asked";

/// A VPN that ends half a second after the first SIGTERM, in which a second one would be noted. It
/// creates the file /tmp/ready. The signal either interrupts the read or has left a line for it.
inline const std::string vpn = "mkfifo /tmp/wake\n"
                               "sh -c 'exec 3<>/tmp/wake; "
                               "trap \"echo vpn >>/tmp/asked; echo >&3\" TERM; : >/tmp/ready; "
                               "read -r line <&3; for i in 1 2 3 4 5; do sleep 0.1; done' &\n";

/// A wrapper of this VPN, which passes the signal on a little later.
inline const std::string wrapper =
    vpn + "trap 'echo wrapper >>/tmp/asked; sleep 0.2; kill -TERM $!' TERM\nwait\nwait\nwait\n";

} // namespace kestrelnet::scripts
