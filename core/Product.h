// SPDX-License-Identifier: MIT
// The product's names and places. Scripts, build files and resources spell some of them out again;
// ProductNamesTest compares those with these.
#pragma once

namespace kestrelnet::product {

/// The application's identifier: bus name, desktop entry, login agent and settings domain.
inline constexpr const char* applicationIdentifier = "com.kestrelnetvpn.app";

/// The settings store's name.
inline constexpr const char* settingsDomain = applicationIdentifier;

/// The privileged helper.
inline constexpr const char* helperPath = "/Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel";

/// The tunnel client's file name, in every folder that is searched.
inline constexpr const char* clientName = "kestrelnet-client";

/// The client that is installed for all users.
inline constexpr const char* systemClientPath = "/usr/local/bin/kestrelnet-client";

/// The user's own folder, below the home folder. The lines of shell start-up files that mention it
/// belong to the product.
inline constexpr const char* userFolderName = ".kestrelnet";

/// Names the temporary folder where the system has none for the user.
inline constexpr const char* temporaryFolderName = "kestrelnet";

/// Marks a start by the session or the bus: the program does not open its panel then.
inline constexpr const char* quietStartVariable = "KESTRELNET_QUIET_START";

// The environment variables that the client reads.
inline constexpr const char* keyVariable = "DEVICE_API_KEY";
inline constexpr const char* authURLVariable = "AUTH_URL";
inline constexpr const char* relayAddressVariable = "RELAY_ADDR";

} // namespace kestrelnet::product
