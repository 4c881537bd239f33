// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kestrelnet {

/// Makes an ordinary user of this process as long as it exists, if it is root's: root ignores the
/// permissions of files. One at a time, in a program with one thread.
class OrdinaryUser {
  public:
    /// Also gives the folder and the files in it to that user.
    explicit OrdinaryUser(const std::string& folder);
    ~OrdinaryUser();
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

  private:
    bool isRoot_;
};

} // namespace kestrelnet
