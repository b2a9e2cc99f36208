// The client channels inside the real daemon: start-up's segments and the
// command port, with the MCU on a pseudo-terminal.
#include <gtest/gtest.h>
#include <sys/shm.h>

#include <cstring>

#include "channels/segments.h"
#include "support/channels_harness.h"
#include "support/daemon_harness.h"

namespace {

using namespace testing_support;

TEST(DaemonChannels, StartUpClearsTheSshListAndSigtermRemovesTheSegments) {
  DaemonHarness d;
  key_t key = channels::segment_key(d.scratch.root(), channels::kSshKey);
  auto* ssh = static_cast<channels::SshSegment*>(channels::attach_segment(key, sizeof(channels::SshSegment)));
  ASSERT_NE(ssh, nullptr);
  ssh->count = 3;
  std::strcpy(ssh->entry[0], "/var/run/stale");

  d.start();
  EXPECT_EQ(channels::load(ssh->count), 0);
  EXPECT_EQ(ssh->entry[0][0], '\0');
  ::shmdt(ssh);

  EXPECT_EQ(d.stop(), 0);
  for (int unit_key : {channels::kTelnet23Key, channels::kTelnet8000Key, channels::kSshKey})
    EXPECT_EQ(::shmget(channels::segment_key(d.scratch.root(), unit_key), 0, 0), -1) << unit_key;
}

TEST(DaemonChannels, ACommandClientTalksToTheMcu) {
  int port;
  {
    Listener probe;  // a free loopback port for the command server
    port = probe.port();
  }
  DaemonHarness d;
  d.nvram_set("TCPPORT", std::to_string(port));
  d.start({"--tcp-server"});

  std::unique_ptr<Client> c;
  ASSERT_TRUE(wait_until([&] {
    c = std::make_unique<Client>(port);
    return c->connected();
  }));
  EXPECT_TRUE(c->wait_for("Please Input Your Command :\r\n"));
  ASSERT_TRUE(c->send("GetPowerStatus\r\n"));
  EXPECT_TRUE(d.wait_mcu("GetPowerStatus\r\n"));
  // A reply ended by '.' and silence goes back to the client that spoke.
  d.mcu_send("Power Status 1.5");
  EXPECT_TRUE(c->wait_for("Power Status 1.5")) << c->received;
  EXPECT_EQ(d.stop(), 0);
}

}  // namespace
