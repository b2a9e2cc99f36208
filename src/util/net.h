#pragma once
// Interface queries, the default gateway, and dotted-quad arithmetic.
#include <string>

#include "board/files.h"
#include "board/nvram.h"

namespace util {

const char* get_ipaddr(const char* ifname);   // static buffer; "" on failure
const char* get_netmask(const char* ifname);  // static buffer; "" on failure
const char* get_macaddr(const char* ifname);  // static buffer; null on failure
int getIfIp(const char* ifname, char* out);   // 0, or -1
char* getWanIp(char* out);                    // "br-lan2": out, or null
// Reads "/proc/net/route" under the root; on a DHCP unit stores wan_gateway.
// Returns the remembered gateway text.
std::string GetGateway(const board::Files& files, board::Nvram& nvram);

struct IpFields {
  char text[4][4];  // each group as text, not terminated when 4 digits long
  int value[4];
};
int IP_Formet(const char* text, IpFields* out);
int SB_Formet(const char* text);
int IP_SB_Calculate(const char* address, const char* mask);
int char_to_int(int* out, const char* text);
int int_to_char(int value, char* out);
int pow(int base, int exponent);

}  // namespace util
