// SPDX-License-Identifier: MIT
// Clients of several processes, as texts of shell scripts without their first line.
#pragma once

#include <string>

namespace kestrelnet::scripts {

/// The scripts note each SIGTERM that they get in this file.
inline constexpr const char* asked = "/tmp/asked";

/// A VPN that ends half a second after the first SIGTERM. It creates the file /tmp/ready.
inline const std::string vpn = "sh -c 'trap \"echo vpn >>/tmp/asked\" TERM; : >/tmp/ready; "
                               "until grep -q vpn /tmp/asked 2>/dev/null; do sleep 0.02; done; "
                               "for i in 1 2 3 4 5; do sleep 0.1; done' &\n";

/// A wrapper of this VPN, which passes the signal on a little later.
inline const std::string wrapper =
    vpn + "trap 'echo wrapper >>/tmp/asked; sleep 0.2; kill -TERM $!' TERM\nwait\nwait\nwait\n";

} // namespace kestrelnet::scripts
