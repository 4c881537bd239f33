// SPDX-License-Identifier: MIT
#pragma once

#include "core/OperatorConfiguration.h"

#include <string>

namespace kestrelnet {

/// What the operator of the service chose at build time.
struct OperatorValues {
    /// Handed to the client as AUTH_URL.
    std::string authURL = configuration::authURL;
    /// Handed to the client as RELAY_ADDR.
    std::string relayAddress = configuration::relayAddress;
    std::string productDomain = configuration::productDomain;
    /// Answers a GET with the caller's address as plain text.
    std::string exitIPServiceURL = configuration::exitIPServiceURL;

    std::string homePageURL() const { return "https://" + productDomain; }
    /// Where a user gets a device key.
    std::string portalURL() const { return homePageURL() + "/portal"; }
    std::string installScriptURL() const { return homePageURL() + "/downloads/install-client.sh"; }
};

} // namespace kestrelnet
