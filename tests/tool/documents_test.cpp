// SPDX-License-Identifier: MIT
#include "fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// What bash offers when the words so far are `words` and the tab key is pressed in the last.
const char kComplete[] = "source '" SSDP_PEER_SOURCE
                         "/ssdp-peer.bash'; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); "
                         "$(complete -p ssdp-peer | sed 's/.*-F \\([^ ]*\\).*/\\1/'); printf "
                         "'%s\\n' \"${COMPREPLY[@]}\"";

class DocumentsTest : public ToolTest {
 protected:
  std::vector<std::string> Complete(const Arguments& words) {
    Arguments command = {"/bin/bash", "-c", kComplete, "bash", "ssdp-peer"};
    command.insert(command.end(), words.begin(), words.end());
    const Program bash = m_lan[1].Start(command);
    EXPECT_EQ(bash->Wait(), 0);
    return bash->Lines();
  }
};

}  // namespace

TEST_F(DocumentsTest, BashCompletesVerbsOptionsAndTheirValues) {
  EXPECT_THAT(Complete({"wa"}), ElementsAre("watch"));
  EXPECT_THAT(Complete({"search", "--w"}), ElementsAre("--wait"));
  EXPECT_THAT(Complete({"announce", "--w"}), ElementsAre(""));
  EXPECT_THAT(Complete({"announce", "--ev"}), ElementsAre("--every"));
  EXPECT_THAT(Complete({"watch", "--color", "a"}), ElementsAre("auto", "always"));
  EXPECT_THAT(Complete({"watch", "--color", "=", "n"}), ElementsAre("never"));
  EXPECT_THAT(Complete({"watch", "--color", "="}), ElementsAre("auto", "always", "never"));
  EXPECT_THAT(Complete({"watch", "-c", ""}), ElementsAre("auto", "always", "never"));
  EXPECT_THAT(Complete({"--status", ""}), ElementsAre("up"));
  EXPECT_THAT(Complete({"watch", "--expect-interface", "l"}), ElementsAre("lo"));
  EXPECT_THAT(Complete({"search", "--mx", ""}), ElementsAre("1", "2", "3", "4", "5"));
}

TEST_F(DocumentsTest, BashOffersVerbsFirst) {
  EXPECT_THAT(Complete({""}), ElementsAre("watch", "search", "announce", "doctor", "help"));
  EXPECT_THAT(Complete({"--json", ""}),
              ElementsAre("watch", "search", "announce", "doctor", "help"));
  EXPECT_THAT(Complete({"help", ""}), ElementsAre("watch", "search", "announce", "doctor"));
  EXPECT_THAT(Complete({"--verb"}), ElementsAre("--verbose"));
}

TEST_F(DocumentsTest, TheManualPageIsWithoutFault) {
  const auto lint =
      m_lan[1].Start({MANDOC, "-T", "lint", "-W", "style", SSDP_PEER_SOURCE "/ssdp-peer.1"});
  const int status = lint->Wait();
  EXPECT_EQ(status, 0);
  // Whether the system has the pages it refers to is the system's matter.
  std::vector<std::string> faults;
  for (const auto& line : lint->Lines())
    if (line.find("mandoc.db") == std::string::npos) faults.push_back(line);
  EXPECT_THAT(faults, IsEmpty());
}
