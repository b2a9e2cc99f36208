#include "channels/websocket_codec.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <openssl/sha.h>

namespace channels {

int _readline(const char* text, int start, char* out, size_t out_size) {
  size_t k = 0;
  for (int i = start; text[i] != '\0'; ++i) {
    if (text[i] == '\r' && text[i + 1] == '\n') {
      if (out_size) out[k] = '\0';
      return i + 2;
    }
    if (k + 1 < out_size) out[k++] = text[i];
  }
  if (out_size) out[k] = '\0';
  return -1;
}

int base64_encode(const unsigned char* input, int length, char* output) {
  if (!input || !output || length < 0) return -1;
  BIO* b64 = BIO_new(BIO_f_base64());
  BIO* mem = BIO_new(BIO_s_mem());
  if (!b64 || !mem) {
    BIO_free(b64);
    BIO_free(mem);
    return -1;
  }
  BIO_set_flags(b64, BIO_FLAGS_BASE64_NO_NL);
  BIO* chain = BIO_push(b64, mem);
  BIO_write(chain, input, length);
  (void)BIO_flush(chain);
  char* encoded = nullptr;
  long n = BIO_get_mem_data(mem, &encoded);
  std::memcpy(output, encoded, static_cast<size_t>(n));
  output[n] = '\0';
  BIO_free_all(chain);
  return static_cast<int>(n);
}

std::string websocket_accept(const std::string& key) {
  std::string joined = key + kWebSocketGuid;
  unsigned char digest[SHA_DIGEST_LENGTH];
  SHA1(reinterpret_cast<const unsigned char*>(joined.data()), joined.size(), digest);
  char out[4 * ((SHA_DIGEST_LENGTH + 2) / 3) + 1];
  base64_encode(digest, SHA_DIGEST_LENGTH, out);
  return out;
}

std::string handshake_response(const std::string& request) {
  static constexpr char kKeyHeader[] = "Sec-WebSocket-Key";
  static constexpr size_t kKeyStart = 19;  // after "Sec-WebSocket-Key: "
  std::vector<char> line(request.size() + 1);
  int at = 0;
  for (;;) {
    at = _readline(request.c_str(), at, line.data(), line.size());
    if (at < 0 || line[0] == '\0') return "";
    if (std::strstr(line.data(), kKeyHeader)) break;
  }
  std::string key_line(line.data());
  std::string key = key_line.size() > kKeyStart ? key_line.substr(kKeyStart) : "";
  char answer[256];
  std::snprintf(answer, sizeof answer,
                "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: "
                "Upgrade\r\nSec-WebSocket-Accept: %s\r\n\r\n",
                websocket_accept(key).c_str());
  return answer;
}

int parse_frame_head(const uint8_t* b, size_t n, FrameHead& head) {
  if (n < 2) return 0;
  head.fin = (b[0] >> 7) & 1;
  head.opcode = b[0] & 0x0f;
  head.mask = (b[1] >> 7) & 1;
  head.payload_length = b[1] & 0x7f;
  size_t at = 2;
  if (head.payload_length == 126) {
    if (n < 4) return 0;
    head.payload_length = (static_cast<uint64_t>(b[2]) << 8) | b[3];
    at = 4;
  } else if (head.payload_length == 127) {
    if (n < 10) return 0;
    uint8_t len[8];
    std::memcpy(len, b + 2, 8);
    inverted_string(len, 8);  // network order to little-endian
    uint64_t value = 0;
    for (int i = 7; i >= 0; --i) value = (value << 8) | len[i];
    head.payload_length = value;
    at = 10;
  }
  std::memset(head.masking_key, 0, sizeof head.masking_key);
  if (head.mask) {
    if (n < at + 4) return 0;
    std::memcpy(head.masking_key, b + at, 4);
    at += 4;
  }
  return static_cast<int>(at);
}

size_t frame_head_bytes(uint64_t len, uint8_t out[10]) {
  out[0] = 0x81;
  if (len < 126) {
    out[1] = static_cast<uint8_t>(len);
    return 2;
  }
  if (len < 65535) {
    out[1] = 126;
    out[2] = static_cast<uint8_t>(len >> 8);
    out[3] = static_cast<uint8_t>(len);
    return 4;
  }
  out[1] = 127;
  for (int i = 0; i < 8; ++i) out[2 + i] = static_cast<uint8_t>(len >> (56 - 8 * i));
  return 10;
}

void inverted_string(uint8_t* bytes, size_t count) {
  for (size_t i = 0, j = count; i + 1 < j; ++i, --j) std::swap(bytes[i], bytes[j - 1]);
}

void umaskTest(uint8_t* bytes, size_t count, const uint8_t masking_key[4]) {
  for (size_t i = 0; i < count; ++i) bytes[i] ^= masking_key[i % 4];
}

void webSocket_getRandomString(uint8_t* out, size_t count) {
  if (RAND_bytes(out, static_cast<int>(count)) != 1)
    for (size_t i = 0; i < count; ++i) out[i] = static_cast<uint8_t>(std::rand());
}

int webSocket_enPackage(const uint8_t* data, size_t length, uint8_t* output, size_t output_size,
                        bool mask, uint8_t type) {
  switch (type) {
    case WDT_MINDATA: case WDT_TXTDATA: case WDT_BINDATA:
    case WDT_DISCONN: case WDT_PING: case WDT_PONG:
      break;
    default:
      return -1;
  }
  if (output_size < 2) return -1;
  size_t head = 2;
  output[0] = type;
  if (length < 126) {
    output[1] = static_cast<uint8_t>(length);
  } else if (length < 65536) {
    if (output_size < 4) return -1;
    output[1] = 126;
    output[2] = static_cast<uint8_t>(length >> 8);
    output[3] = static_cast<uint8_t>(length);
    head = 4;
  } else {
    if (output_size < 10) return -1;
    output[1] = 127;
    std::memset(output + 2, 0, 4);
    for (int i = 0; i < 4; ++i) output[6 + i] = static_cast<uint8_t>(length >> (24 - 8 * i));
    head = 10;
  }
  size_t key_bytes = mask ? 4 : 0;
  if (output_size < head + key_bytes + length) return -1;
  if (length) std::memcpy(output + head + key_bytes, data, length);
  if (mask) {
    output[1] |= 0x80;
    webSocket_getRandomString(output + head, 4);
    umaskTest(output + head + 4, length, output + head);
  }
  return static_cast<int>(head + key_bytes + length);
}

SSL_CTX* init_ssl(const char* cert_file, const char* key_file) {
  SSL_CTX* ctx = SSL_CTX_new(TLS_server_method());
  if (ctx && SSL_CTX_use_certificate_file(ctx, cert_file, SSL_FILETYPE_PEM) == 1 &&
      SSL_CTX_use_PrivateKey_file(ctx, key_file, SSL_FILETYPE_PEM) == 1 &&
      SSL_CTX_check_private_key(ctx) == 1)
    return ctx;
  ERR_print_errors_fp(stderr);
  SSL_CTX_free(ctx);
  return nullptr;
}

}  // namespace channels
