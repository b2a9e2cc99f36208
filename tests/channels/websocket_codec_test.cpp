// The WebSocket pieces on their own: frame heads and frames of every length
// form, masking, the handshake answer.
#include "channels/websocket_codec.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using channels::FrameHead;

std::vector<uint8_t> head_for(uint64_t length) {
  uint8_t out[10];
  size_t n = channels::frame_head_bytes(length, out);
  return std::vector<uint8_t>(out, out + n);
}

TEST(FrameHeadOut, EveryLengthFormInNetworkOrder) {
  struct Case {
    uint64_t length;
    std::vector<uint8_t> head;
  } cases[] = {
      {0, {0x81, 0}},
      {125, {0x81, 125}},
      {126, {0x81, 126, 0, 126}},
      {200, {0x81, 126, 0, 200}},
      {65534, {0x81, 126, 0xFF, 0xFE}},
      {65535, {0x81, 127, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF}},
      {70000, {0x81, 127, 0, 0, 0, 0, 0, 0x01, 0x11, 0x70}},
      {0x0102030405060708ULL, {0x81, 127, 1, 2, 3, 4, 5, 6, 7, 8}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.length);
    EXPECT_EQ(head_for(c.length), c.head);
  }
}

// A client frame as a browser writes it, its head read back from the bytes
// as they arrive: nothing until the head is complete.
TEST(FrameHeadIn, ReadsLengthFormsMaskedAndUnmasked) {
  struct Case {
    uint64_t length;
    bool masked;
    int head_size;
  } cases[] = {{125, true, 6},   {126, true, 8},     {200, false, 4},
               {65535, true, 8}, {70000, false, 10}, {70000, true, 14}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.length) + (c.masked ? " masked" : " unmasked"));
    std::vector<uint8_t> payload(c.length);
    for (size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<uint8_t>(i * 7);
    std::vector<uint8_t> frame(c.length + 14);
    int n = channels::webSocket_enPackage(payload.data(), payload.size(), frame.data(), frame.size(),
                                          c.masked, channels::WDT_TXTDATA);
    ASSERT_GT(n, 0);
    FrameHead head;
    for (int part = 0; part < c.head_size; ++part)
      ASSERT_EQ(channels::parse_frame_head(frame.data(), static_cast<size_t>(part), head), 0) << part;
    ASSERT_EQ(channels::parse_frame_head(frame.data(), static_cast<size_t>(n), head), c.head_size);
    std::vector<uint8_t> got(frame.begin() + c.head_size, frame.begin() + n);
    EXPECT_EQ(head.fin, 1);
    EXPECT_EQ(head.opcode, 1);
    EXPECT_EQ(head.mask, c.masked ? 1 : 0);
    EXPECT_EQ(head.payload_length, c.length);
    if (head.mask) channels::umaskTest(got.data(), got.size(), head.masking_key);
    EXPECT_EQ(got, payload);
  }
}

TEST(EnPackage, HeaderFormsAndOutputBounds) {
  std::vector<uint8_t> data(70000, 'x');
  std::vector<uint8_t> out(70100);
  struct Case {
    size_t length;
    size_t out_size;
    bool mask;
    uint8_t type;
    int result;
    std::vector<uint8_t> head;  // expected first bytes (mask bit included)
  } cases[] = {
      {125, 200, false, channels::WDT_TXTDATA, 127, {0x81, 125}},
      {126, 200, false, channels::WDT_BINDATA, 130, {0x82, 126, 0, 126}},
      {200, 300, true, channels::WDT_TXTDATA, 208, {0x81, 0xFE, 0, 200}},
      {65535, 70100, false, channels::WDT_TXTDATA, 65539, {0x81, 126, 0xFF, 0xFF}},
      {70000, 70100, false, channels::WDT_TXTDATA, 70010, {0x81, 127, 0, 0, 0, 0, 0, 1, 0x11, 0x70}},
      {70000, 70100, true, channels::WDT_PING, 70014, {0x89, 0xFF, 0, 0, 0, 0, 0, 1, 0x11, 0x70}},
      {5, 1, false, channels::WDT_TXTDATA, -1, {}},     // below 2 bytes
      {200, 3, false, channels::WDT_TXTDATA, -1, {}},   // no room for a 16-bit length
      {70000, 9, false, channels::WDT_TXTDATA, -1, {}}, // no room for a 64-bit length
      {10, 15, true, channels::WDT_TXTDATA, -1, {}},    // header, key and data need 16
      {10, 100, false, 0x83, -1, {}},                   // unknown type
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.length) + " into " + std::to_string(c.out_size));
    int n = channels::webSocket_enPackage(data.data(), c.length, out.data(), c.out_size, c.mask, c.type);
    ASSERT_EQ(n, c.result);
    if (n < 0) continue;
    EXPECT_EQ(std::vector<uint8_t>(out.begin(), out.begin() + c.head.size()), c.head);
    size_t at = c.head.size();
    std::vector<uint8_t> body(out.begin() + at + (c.mask ? 4 : 0), out.begin() + n);
    if (c.mask) channels::umaskTest(body.data(), body.size(), out.data() + at);
    EXPECT_EQ(body, std::vector<uint8_t>(c.length, 'x'));
  }
}

TEST(Handshake, AcceptValueOfTheRfcExample) {
  EXPECT_EQ(channels::websocket_accept("dGhlIHNhbXBsZSBub25jZQ=="), "s3pPLMBiTxaQ9kYGzzhZRbK+xOo=");
}

TEST(Handshake, ResponsesToRequests) {
  const std::string answer =
      "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
      "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n";
  const std::string long_headers(300, 'h');
  struct Case {
    const char* what;
    std::string request;
    std::string response;
  } cases[] = {
      {"plain", "GET / HTTP/1.1\r\nHost: x\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n", answer},
      {"key after 300 bytes of headers",
       "GET / HTTP/1.1\r\nX-Long: " + long_headers + "\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n",
       answer},
      {"no key", "GET / HTTP/1.1\r\nHost: x\r\n\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n", ""},
      {"empty", "", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(channels::handshake_response(c.request), c.response);
  }
}

TEST(Handshake, ReadlineAndBase64) {
  char line[8];
  EXPECT_EQ(channels::_readline("ab\r\ncd\r\n", 0, line, sizeof line), 4);
  EXPECT_STREQ(line, "ab");
  EXPECT_EQ(channels::_readline("ab\r\ncd\r\n", 4, line, sizeof line), 8);
  EXPECT_STREQ(line, "cd");
  EXPECT_EQ(channels::_readline("abc", 0, line, sizeof line), -1);
  EXPECT_EQ(channels::_readline("0123456789ABC\r\n", 0, line, sizeof line), 15);
  EXPECT_STREQ(line, "0123456");  // bounded by the buffer

  char out[32];
  EXPECT_EQ(channels::base64_encode(reinterpret_cast<const unsigned char*>("any carnal"), 10, out), 16 - 0);
  EXPECT_STREQ(out, "YW55IGNhcm5hbA==");
  EXPECT_EQ(channels::base64_encode(nullptr, 3, out), -1);
}

TEST(Bytes, InvertAndUnmask) {
  uint8_t b[] = {1, 2, 3, 4, 5, 6, 7, 8};
  channels::inverted_string(b, 8);
  EXPECT_EQ(std::vector<uint8_t>(b, b + 8), (std::vector<uint8_t>{8, 7, 6, 5, 4, 3, 2, 1}));
  uint8_t text[] = {'a', 'b', 'c', 'd', 'e'};
  const uint8_t key[4] = {1, 2, 3, 4};
  channels::umaskTest(text, 5, key);
  EXPECT_EQ(std::vector<uint8_t>(text, text + 5),
            (std::vector<uint8_t>{'a' ^ 1, 'b' ^ 2, 'c' ^ 3, 'd' ^ 4, 'e' ^ 1}));
}

TEST(Tls, ContextNeedsUsableFiles) {
  EXPECT_EQ(channels::init_ssl("/nonexistent/server.pem", "/nonexistent/privkey.pem"), nullptr);
}

}  // namespace
