// SPDX-License-Identifier: MIT
#pragma once

#include "core/OperatorConfiguration.h"

#include <string>

namespace kestrelnet {

/// Values that the operator of the service chooses at build time.
struct OperatorValues {
    /// Passed to the client as AUTH_URL.
    std::string authURL = configuration::authURL;
    /// Passed to the client as RELAY_ADDR.
    std::string relayAddress = configuration::relayAddress;
    std::string productDomain = configuration::productDomain;
    /// A service that answers a GET request with the caller's IP address as plain text.
    std::string exitIPServiceURL = configuration::exitIPServiceURL;

    std::string homePageURL() const { return "https://" + productDomain; }
    /// The page where a user gets a device key.
    std::string portalURL() const { return homePageURL() + "/portal"; }
    std::string installScriptURL() const { return homePageURL() + "/downloads/install-client.sh"; }
};

} // namespace kestrelnet
