// Dotted-quad checks, mask checks, host-range checks and the integer helpers.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "util/net.h"

namespace {

int ip(const char* text) { return util::IP_Formet(text, nullptr); }

TEST(AddressChecks, ResultCodes) {
  const struct { int (*check)(const char*); const char* text; int expected; } cases[] = {
      {ip, "255.255.255.255", 0}, {ip, "1..2.3.4", 0},  {ip, "", -1},           {ip, ".1.2.3", -2},
      {ip, "1 .2.3.4", -3},       {ip, "01234.1.1.1", -4}, {ip, "192.168.1", -5}, {ip, "1.2.3.4.5", -5},
      {ip, "192.168.1.256", -7},  {ip, "9999.1.1.1", -7}, {ip, "0255.1.1.1", 0},
      {util::SB_Formet, "128.0.0.0", 0},       {util::SB_Formet, "255.255.255.252", 0},
      {util::SB_Formet, "", -1},               {util::SB_Formet, "255.255.255.x", -2},
      {util::SB_Formet, "127.255.255.0", -3},  {util::SB_Formet, "255.0.255.0", -4},
      {util::SB_Formet, "255.255.255.1", -4},  {util::SB_Formet, "255.255.255.254", -5}, {util::SB_Formet, "0.0.0.0", -3},
  };
  for (const auto& c : cases) EXPECT_EQ(c.check(c.text), c.expected) << c.text;
  EXPECT_EQ(util::IP_Formet(nullptr, nullptr), -1);
}

TEST(AddressChecks, FillsGroupsAsTextAndValues) {
  util::IpFields f;
  std::memset(&f, 'x', sizeof f);
  ASSERT_EQ(util::IP_Formet("10..0200.3.0040", &f), 0);
  EXPECT_EQ(std::string(f.text[0]) + "," + f.text[2], "10,3");
  // A four-digit group fills its four bytes with no terminator.
  EXPECT_EQ(std::string(f.text[1], 4) + std::string(f.text[3], 4), "02000040");
  EXPECT_EQ(std::vector<int>(f.value, f.value + 4), (std::vector<int>{10, 200, 3, 40}));
}

TEST(AddressChecks, HostOfItsSubnet) {
  const struct { const char* address; const char* mask; int expected; } cases[] = {
      {"192.168.1.254", "255.255.255.0", 0}, {"10.1.2.3", "255.0.0.0", 0},
      {"192.168.1.0", "255.255.255.0", -3},  {"192.168.1.255", "255.255.255.0", -3},
      // Octet by octet with no carry: x.y.1.0 in a /16 is refused although it is a host.
      {"172.16.1.0", "255.255.0.0", -3},     {"192.168.1", "255.255.255.0", -1},
      {"192.168.1.1", "255.255.255", -2},
  };
  for (const auto& c : cases) EXPECT_EQ(util::IP_SB_Calculate(c.address, c.mask), c.expected) << c.address;
}

// Text to int and back: a rejected text leaves the output alone.
TEST(Integers, ConvertBothWaysAndPower) {
  const struct { const char* text; int expected; int value; } cases[] = {
      {"-5", 0, -5},          {"2147483647", 0, INT_MAX}, {"-2147483647", 0, -INT_MAX},
      {"00000000001", 0, 1},  {"", -1, 12345},            {"-", -2, 12345},
      {"2147483648", -4, 12345}, {"-2147483648", -4, 12345}, {"12a", -5, 12345}, {"+1", -5, 12345},
      {"02147483648", -4, 12345},  // leading zeros do not hide a value past the largest
  };
  for (const auto& c : cases) {
    int value = 12345;
    EXPECT_EQ(util::char_to_int(&value, c.text), c.expected) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
  }
  for (int value : {0, -42, INT_MAX, INT_MIN}) {
    char out[20];
    std::memset(out, 'x', sizeof out);
    EXPECT_EQ(util::int_to_char(value, out), 0);
    EXPECT_EQ(out, std::to_string(value));
  }
  EXPECT_EQ(util::int_to_char(1, nullptr), -1);
  const struct { int base, exponent, expected; } powers[] = {{2, 10, 1024}, {0, 0, 1}, {-2, 3, 0}, {-1, 0, 0}, {10, 9, 1000000000}};
  for (const auto& p : powers) EXPECT_EQ(util::pow(p.base, p.exponent), p.expected) << p.base << "^" << p.exponent;
}

}  // namespace
