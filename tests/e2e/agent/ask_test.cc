// The example that asks as a management server would.

#include <gtest/gtest.h>

#include "tests/e2e/agent/agent.h"

namespace vesk::test {
namespace {

const char kNote[] = "Device.X_VESK_Scratch.Note";
const char kEntries[] = "Device.X_VESK_Scratch.Entry.";

TEST(Asking, LeavesTheParameterKeyThatTheServerHasSet) {
  Agent agent;
  agent.start("scratch", {}, "dm.Device.X_VESK_Scratch");
  Client client(agent.socket());
  const Tree element = object({{"Name", text(kNote)}, {"Value", text("old")}});
  ASSERT_EQ(client.status("cwmp.rpc.SetParameterValues",
                          object({{"ParameterList", array(std::vector<Tree>{element})},
                                  {"ParameterKey", text("of the server")}})),
            VK_EOK);
  for (const Words& words : {Words{"set", kNote, "new"}, Words{"add", kEntries},
                             Words{"del", kEntries + std::string("1.")}}) {
    Words command = {VESK_ASK_PROGRAM, "--socket", agent.socket()};
    command.insert(command.end(), words.begin(), words.end());
    const Ended asked = run(command);
    EXPECT_EQ(asked.status, 0) << asked.output;
    EXPECT_EQ(client.call("dmmgr.inform.get").value,
              object({{"ParameterList", object({})}, {"ParameterKey", text("of the server")}}))
        << words[0];
  }
}

}  // namespace
}  // namespace vesk::test
