// SPDX-License-Identifier: MIT
#include "platform/linux/standins/AppleScriptStatement.h"

#include <gtest/gtest.h>

#include <string>

namespace kestrelnet {
namespace {

struct Accepted {
    std::string script;
    std::string command;
};

class AcceptedStatementTest : public testing::TestWithParam<Accepted> {};

TEST_P(AcceptedStatementTest, yieldsItsCommand) {
    EXPECT_EQ(administratorCommand(GetParam().script), GetParam().command);
}

INSTANTIATE_TEST_SUITE_P(
    Statements, AcceptedStatementTest,
    testing::Values(
        Accepted{R"(do shell script "id" with administrator privileges)", "id"},
        Accepted{R"(do shell script "" with administrator privileges)", ""},
        Accepted{
            R"(do shell script "/run/user/1000/l.sh > /run/user/1000/o 2>&1" with administrator privileges)",
            "/run/user/1000/l.sh > /run/user/1000/o 2>&1"},
        Accepted{R"(do shell script "/bin/bash '/opt/it's/x.sh'" with administrator privileges)",
                 "/bin/bash '/opt/it's/x.sh'"},
        Accepted{R"(do shell script "a\\b\"c\nd\re\tf" with administrator privileges)",
                 "a\\b\"c\nd\re\tf"},
        Accepted{R"(do shell script "\\n" with administrator privileges)", "\\n"},
        Accepted{R"(do shell script "\\\\" with administrator privileges)", "\\\\"},
        Accepted{"do shell script \"a\nb\" with administrator privileges", "a\nb"},
        Accepted{"do shell script \"Zo\xC3\xAB \xFF\" with administrator privileges",
                 "Zo\xC3\xAB \xFF"},
        Accepted{"do shell script \" with administrator privileges\" with administrator privileges",
                 " with administrator privileges"}));

class RefusedStatementTest : public testing::TestWithParam<std::string> {};

TEST_P(RefusedStatementTest, yieldsNothing) {
    EXPECT_EQ(administratorCommand(GetParam()), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, RefusedStatementTest,
    testing::Values(
        "", " ", "id", "\"id\"", R"(do shell script)", R"(do shell script "id")",
        R"(do shell script "id" with administrator)",
        R"(do shell script "id" with administrator privilegesx)",
        R"(do shell script "id" with administrator privileges x)",
        R"(do shell script "id" with administrator privileges; do shell script "id")",
        "do shell script \"a\" with administrator privileges\n"
        "do shell script \"b\" with administrator privileges",
        R"(x do shell script "id" with administrator privileges)",
        R"(Do Shell Script "id" with administrator privileges)",
        R"(doshell script "id" with administrator privileges)",
        R"(do shellscript "id" with administrator privileges)",
        R"(do shell script "id" withadministrator privileges)",
        "do\nshell script \"id\" with administrator privileges",
        R"(do shell script id with administrator privileges)",
        R"(do shell script 'id' with administrator privileges)",
        R"(do shell script "id with administrator privileges)",
        R"(do shell script "id\" with administrator privileges)", R"(do shell script "id\)",
        R"(do shell script ")", R"(do shell script "a"b" with administrator privileges)",
        R"(do shell script "a" & "b" with administrator privileges)",
        R"(do shell script "\x" with administrator privileges)",
        R"(do shell script "\0" with administrator privileges)",
        R"(do shell script "\'" with administrator privileges)",
        "do shell script \"a" + std::string(1, '\0') + "b\" with administrator privileges",
        "do shell script \"a\" with administrator privileges" + std::string(1, '\0'),
        R"(do shell script "id" user name "root" with administrator privileges)",
        // Correct AppleScript, but not as the application writes it.
        "\n \t do \t shell  script\t\"id\"  with  administrator\tprivileges \r\n",
        R"(do shell script"id"with administrator privileges)",
        R"( do shell script "id" with administrator privileges)",
        R"(do shell script "id" with administrator privileges )",
        "do shell script \"id\" with administrator privileges\n",
        R"(do  shell script "id" with administrator privileges)",
        R"(do shell script  "id" with administrator privileges)",
        R"(do shell script "id"  with administrator privileges)",
        "do shell script \"id\"\twith administrator privileges",
        // The quotes of start and end must be two characters.
        R"(do shell script " with administrator privileges)",
        // The statement that installs the helper without a script has unescaped quotes in it.
        R"(do shell script "mkdir -p /Library/PrivilegedHelperTools && printf '#!/bin/bash\nexec "/opt/k/bin/kestrelnet-client" "$@"\n' > /Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel" with administrator privileges)"));

} // namespace
} // namespace kestrelnet
