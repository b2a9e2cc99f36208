#pragma once
// WebSocket (RFC 6455) pieces of the GUI channel: the opening handshake, the
// frame heads read and written by the server, and the framing of the
// messages that the daemon pushes.
#include <cstddef>
#include <cstdint>
#include <string>

#include <openssl/ssl.h>

namespace channels {

inline constexpr char kWebSocketGuid[] = "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
inline constexpr size_t kHandshakeMax = 8192;

// Frame types (the first header byte) of webSocket_enPackage.
enum WebSocketType : uint8_t {
  WDT_MINDATA = 0x00,  // continuation
  WDT_TXTDATA = 0x81,
  WDT_BINDATA = 0x82,
  WDT_DISCONN = 0x88,
  WDT_PING = 0x89,
  WDT_PONG = 0x8A,
};

struct FrameHead {
  uint8_t fin = 0;
  uint8_t opcode = 0;
  uint8_t mask = 0;
  uint64_t payload_length = 0;
  uint8_t masking_key[4] = {};
};

// Copies text[start..] up to a CR LF into out (at most out_size - 1
// characters, terminated) and returns the index after the CR LF, or -1 when
// the text ends first.
int _readline(const char* text, int start, char* out, size_t out_size);
// Base64 without line breaks, terminated; out needs 4 * ((length + 2) / 3) + 1
// bytes. The encoded length, or -1 for a missing input or output.
int base64_encode(const unsigned char* input, int length, char* output);
// The Sec-WebSocket-Accept value of a key: Base64 of SHA-1 over key + GUID.
std::string websocket_accept(const std::string& key);
// The answer to a whole opening request (header lines up to the empty line),
// or "" when it carries no key line.
std::string handshake_response(const std::string& request);
// A client frame head at the start of n bytes: its size (2 to 14 bytes)
// once complete, else 0. The masking key is read only when the mask bit is
// set (zeros otherwise); 8-byte lengths are in network byte order.
int parse_frame_head(const uint8_t* bytes, size_t n, FrameHead& head);
// The server frame head (FIN, text) announcing payload_length bytes:
// below 126 in one byte, up to 65534 as 126 + 16 bits, else 127 + 64 bits,
// all in network byte order. The bytes it writes.
size_t frame_head_bytes(uint64_t payload_length, uint8_t out[10]);

void inverted_string(uint8_t* bytes, size_t count);
void umaskTest(uint8_t* bytes, size_t count, const uint8_t masking_key[4]);

void webSocket_getRandomString(uint8_t* out, size_t count);
// One frame of type around data into output. Its length, or -1 when output is
// too small or the type unknown.
int webSocket_enPackage(const uint8_t* data, size_t length, uint8_t* output, size_t output_size,
                        bool mask, uint8_t type);

// A TLS server context from PEM certificate and key files; null (with the
// OpenSSL errors on standard error) when they cannot be used.
SSL_CTX* init_ssl(const char* cert_file, const char* key_file);

}  // namespace channels
