// Dotted-quad checks, mask checks, host-range checks and the integer helpers.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "util/net.h"

namespace {

struct Case {
  const char* text;
  int expected;
};

TEST(IpFormet, ResultCodes) {
  const Case cases[] = {
      {"255.255.255.255", 0}, {"0255.1.1.1", 0},  {"1..2.3.4", 0},      {"", -1},
      {".1.2.3", -2},         {"1.2.3.a", -3},    {"1 .2.3.4", -3},     {"01234.1.1.1", -4},
      {"192.168.1", -5},      {"1.2.3.4.5", -5},  {"192.168.1.256", -7}, {"9999.1.1.1", -7},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(util::IP_Formet(c.text, nullptr), c.expected);
  }
  EXPECT_EQ(util::IP_Formet(nullptr, nullptr), -1);
}

TEST(IpFormet, FillsGroupsAsTextAndValues) {
  util::IpFields f;
  std::memset(&f, 'x', sizeof f);
  ASSERT_EQ(util::IP_Formet("10..0200.3.0040", &f), 0);
  EXPECT_EQ(std::string(f.text[0]), "10");
  EXPECT_EQ(std::string(f.text[2]), "3");
  // A four-digit group fills its four bytes with no terminator.
  EXPECT_EQ(std::string(f.text[1], 4), "0200");
  EXPECT_EQ(std::string(f.text[3], 4), "0040");
  EXPECT_EQ(f.value[0], 10);
  EXPECT_EQ(f.value[1], 200);
  EXPECT_EQ(f.value[2], 3);
  EXPECT_EQ(f.value[3], 40);
}

TEST(SbFormet, ResultCodes) {
  const Case cases[] = {
      {"128.0.0.0", 0},   {"255.255.255.252", 0}, {"", -1},           {"255.255.255.x", -2},
      {"0.0.0.0", -3},    {"127.255.255.0", -3},  {"255.0.255.0", -4}, {"255.255.255.1", -4},
      {"255.255.255.254", -5}, {"255.255.255.255", -5},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(util::SB_Formet(c.text), c.expected);
  }
}

TEST(IpSbCalculate, HostOfItsSubnet) {
  struct HostCase {
    const char* address;
    const char* mask;
    int expected;
  } cases[] = {
      {"192.168.1.254", "255.255.255.0", 0}, {"10.1.2.3", "255.0.0.0", 0},
      {"192.168.1.0", "255.255.255.0", -3},  {"192.168.1.255", "255.255.255.0", -3},
      // Octet by octet with no carry: x.y.1.0 in a /16 is refused although it is a host.
      {"172.16.1.0", "255.255.0.0", -3},     {"192.168.1", "255.255.255.0", -1},
      {"192.168.1.1", "255.255.255", -2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.address) + " / " + c.mask);
    EXPECT_EQ(util::IP_SB_Calculate(c.address, c.mask), c.expected);
  }
}

TEST(CharToInt, ResultCodesAndValues) {
  struct IntCase {
    const char* text;
    int expected;
    int value;  // checked when expected is 0
  } cases[] = {
      {"-5", 0, -5},          {"2147483647", 0, INT_MAX}, {"-2147483647", 0, -INT_MAX},
      {"00000000001", 0, 1},  {"", -1, 0},                {"-", -2, 0},
      {"2147483648", -4, 0},  {"-2147483648", -4, 0},     {"10000000000", -4, 0},
      {"12a", -5, 0},         {"+1", -5, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    int value = 12345;
    EXPECT_EQ(util::char_to_int(&value, c.text), c.expected);
    if (c.expected == 0) {
      EXPECT_EQ(value, c.value);
    } else {
      EXPECT_EQ(value, 12345) << "a rejected text leaves the output alone";
    }
  }
}

TEST(IntToChar, DecimalText) {
  struct TextCase {
    int value;
    const char* text;
  } cases[] = {{0, "0"}, {7, "7"}, {-42, "-42"}, {INT_MAX, "2147483647"}, {INT_MIN, "-2147483648"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    char out[20];
    std::memset(out, 'x', sizeof out);
    EXPECT_EQ(util::int_to_char(c.value, out), 0);
    EXPECT_STREQ(out, c.text);
    EXPECT_EQ(out[19], '\0');
  }
  EXPECT_EQ(util::int_to_char(1, nullptr), -1);
}

TEST(Pow, IntegerPower) {
  struct PowCase {
    int base, exponent, expected;
  } cases[] = {{10, 0, 1}, {2, 10, 1024}, {0, 0, 1}, {-2, 3, 0}, {-1, 0, 0}, {10, 9, 1000000000}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.base) + "^" + std::to_string(c.exponent));
    EXPECT_EQ(util::pow(c.base, c.exponent), c.expected);
  }
}

}  // namespace
