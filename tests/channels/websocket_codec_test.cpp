// The WebSocket pieces on their own: what the codec encodes it decodes again,
// in every length form, masked or not, into output of just its size; the
// handshake answer.
#include "channels/websocket_codec.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace channels;
using Bytes = std::vector<uint8_t>;

TEST(WebSocketCodec, DecodesWhatItEncodesInEveryLengthForm) {
  for (size_t length : {0, 125, 126, 65534, 65535, 65536, 70000})
    for (bool masked : {false, true})
      for (uint8_t type : {WDT_TXTDATA, WDT_BINDATA, WDT_PING}) {
        SCOPED_TRACE(std::to_string(length) + (masked ? " masked " : " ") + std::to_string(type));
        Bytes payload(length), frame(length + 14);
        for (size_t i = 0; i < length; ++i) payload[i] = static_cast<uint8_t>(i * 7);
        const int head_size = (length < 126 ? 2 : length < 65536 ? 4 : 10) + (masked ? 4 : 0);
        const size_t n = head_size + length;  // output of exactly the frame's size is enough, a byte less is not
        ASSERT_EQ(webSocket_enPackage(payload.data(), length, frame.data(), n - 1, masked, type), -1);
        ASSERT_EQ(webSocket_enPackage(payload.data(), length, frame.data(), n, masked, type), static_cast<int>(n));
        FrameHead head;
        for (int part = 0; part < head_size; ++part)  // nothing until the head is complete
          ASSERT_EQ(parse_frame_head(frame.data(), static_cast<size_t>(part), head), 0) << part;
        ASSERT_EQ(parse_frame_head(frame.data(), n, head), head_size);
        EXPECT_EQ(head.fin, 1);
        EXPECT_EQ(head.opcode, type & 0x0F);
        EXPECT_EQ(head.mask, masked ? 1 : 0);
        EXPECT_EQ(head.payload_length, length);
        Bytes got(frame.begin() + head_size, frame.begin() + n);
        if (masked) umaskTest(got.data(), got.size(), head.masking_key);
        EXPECT_EQ(got, payload);
        if (masked || type != WDT_TXTDATA) continue;
        // The server's own text head is the codec's, but takes 8 length bytes from 65535 on.
        uint8_t out[10];
        Bytes want(frame.begin(), frame.begin() + head_size);
        if (length == 65535) want = {0x81, 127, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
        EXPECT_EQ(Bytes(out, out + frame_head_bytes(length, out)), want);
      }
}

TEST(WebSocketCodec, HandshakeAnswers) {
  const std::string key = "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n";
  const std::string answer = handshake_response("GET / HTTP/1.1\r\nHost: x\r\n" + key + "\r\n");
  EXPECT_NE(answer.find("\r\nSec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n"), std::string::npos);
  struct Case {
    std::string request, response;
  } cases[] = {
      {"GET / HTTP/1.1\r\nX-Long: " + std::string(300, 'h') + "\r\n" + key + "\r\n", answer},
      {"GET / HTTP/1.1\r\nHost: x\r\n\r\n" + key, ""},  // after the end
      {"", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(handshake_response(c.request), c.response) << c.request;
  char line[8];
  EXPECT_EQ(_readline("0123456789ABC\r\nx", 0, line, sizeof line), 15);
  EXPECT_STREQ(line, "0123456");  // bounded by the buffer
  EXPECT_EQ(_readline("abc", 0, line, sizeof line), -1);
  uint8_t out[16];
  EXPECT_EQ(webSocket_enPackage(out, 1, out, sizeof out, false, 0x83), -1);  // no such frame type
  EXPECT_EQ(init_ssl("/nonexistent/server.pem", "/nonexistent/privkey.pem"), nullptr);
}

}  // namespace
