// The WebSocket pieces on their own: what the codec encodes it decodes again,
// in every length form, masked or not; output bounds; the handshake answer.
#include "channels/websocket_codec.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(WebSocketCodec, DecodesWhatItEncodesInEveryLengthForm) {
  struct Case {
    uint64_t length;
    int head_size;  // unmasked; a mask adds 4
  } cases[] = {{0, 2}, {125, 2}, {126, 4}, {65535, 4}, {65536, 10}, {70000, 10}};
  for (const auto& c : cases)
    for (bool masked : {false, true})
      for (uint8_t type : {channels::WDT_TXTDATA, channels::WDT_BINDATA, channels::WDT_PING}) {
        SCOPED_TRACE(std::to_string(c.length) + (masked ? " masked " : " ") + std::to_string(type));
        std::vector<uint8_t> payload(c.length), frame(c.length + 14);
        for (size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<uint8_t>(i * 7);
        int n = channels::webSocket_enPackage(payload.data(), payload.size(), frame.data(), frame.size(), masked,
                                              type);
        const int head_size = c.head_size + (masked ? 4 : 0);
        ASSERT_EQ(n, head_size + static_cast<int>(c.length));
        channels::FrameHead head;
        for (int part = 0; part < head_size; ++part)  // nothing until the head is complete
          ASSERT_EQ(channels::parse_frame_head(frame.data(), static_cast<size_t>(part), head), 0) << part;
        ASSERT_EQ(channels::parse_frame_head(frame.data(), static_cast<size_t>(n), head), head_size);
        EXPECT_EQ(head.fin, 1);
        EXPECT_EQ(head.opcode, type & 0x0F);
        EXPECT_EQ(head.mask, masked ? 1 : 0);
        EXPECT_EQ(head.payload_length, c.length);
        std::vector<uint8_t> got(frame.begin() + head_size, frame.begin() + n);
        if (masked) channels::umaskTest(got.data(), got.size(), head.masking_key);
        EXPECT_EQ(got, payload);
        if (masked || type != channels::WDT_TXTDATA || c.length == 65535) continue;
        // The server's own head of a text frame is the codec's (but at 65535, below).
        uint8_t out[10];
        ASSERT_EQ(channels::frame_head_bytes(c.length, out), static_cast<size_t>(head_size));
        EXPECT_EQ(std::vector<uint8_t>(out, out + head_size), std::vector<uint8_t>(frame.begin(), frame.begin() + head_size));
      }
  uint8_t out[10];  // lengths in network byte order; the server's head takes 8 bytes from 65535 on
  ASSERT_EQ(channels::frame_head_bytes(65534, out), 4u);
  ASSERT_EQ(channels::frame_head_bytes(65535, out), 10u);
  EXPECT_EQ(std::vector<uint8_t>(out, out + 10), (std::vector<uint8_t>{0x81, 127, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF}));
  ASSERT_EQ(channels::frame_head_bytes(70000, out), 10u);
  EXPECT_EQ(std::vector<uint8_t>(out, out + 10), (std::vector<uint8_t>{0x81, 127, 0, 0, 0, 0, 0, 1, 0x11, 0x70}));
}

TEST(WebSocketCodec, RefusesOutputTooSmallAndUnknownTypes) {
  std::vector<uint8_t> data(70000, 'x'), out(100);
  struct Case {
    size_t length, out_size;
    bool mask;
    uint8_t type;
  } cases[] = {
      {5, 1, false, channels::WDT_TXTDATA},     {200, 3, false, channels::WDT_TXTDATA},
      {70000, 9, false, channels::WDT_TXTDATA}, {10, 15, true, channels::WDT_TXTDATA},
      {10, 100, false, 0x83},
  };
  for (const auto& c : cases)
    EXPECT_EQ(channels::webSocket_enPackage(data.data(), c.length, out.data(), c.out_size, c.mask, c.type), -1)
        << c.length << " into " << c.out_size;
  EXPECT_EQ(channels::webSocket_enPackage(data.data(), 10, out.data(), 16, true, channels::WDT_TXTDATA), 16);
}

TEST(WebSocketCodec, HandshakeAnswers) {
  const std::string answer =
      "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
      "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n";
  struct Case {
    std::string request, response;
  } cases[] = {
      {"GET / HTTP/1.1\r\nHost: x\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n", answer},
      {"GET / HTTP/1.1\r\nX-Long: " + std::string(300, 'h') + "\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n",
       answer},
      {"GET / HTTP/1.1\r\nHost: x\r\n\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n", ""},  // after the end
      {"", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(channels::handshake_response(c.request), c.response) << c.request;
  char line[8];
  EXPECT_EQ(channels::_readline("0123456789ABC\r\nx", 0, line, sizeof line), 15);
  EXPECT_STREQ(line, "0123456");  // bounded by the buffer
  EXPECT_EQ(channels::_readline("abc", 0, line, sizeof line), -1);
  EXPECT_EQ(channels::init_ssl("/nonexistent/server.pem", "/nonexistent/privkey.pem"), nullptr);
}

}  // namespace
