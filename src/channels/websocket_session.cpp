#include "channels/websocket_session.h"

#include <cstring>

namespace channels {

namespace {

enum Opcode : uint8_t {
  kContinuation = 0x0,
  kText = 0x1,
  kBinary = 0x2,
  kClose = 0x8,
  kPing = 0x9,
  kPong = 0xA,
};

std::string frame(uint8_t type, const std::string& payload) {
  std::string out(payload.size() + 14, '\0');
  int n = webSocket_enPackage(reinterpret_cast<const uint8_t*>(payload.data()), payload.size(),
                              reinterpret_cast<uint8_t*>(&out[0]), out.size(), false, type);
  out.resize(n > 0 ? static_cast<size_t>(n) : 0);
  return out;
}

}  // namespace

void WsSession::end(std::vector<Event>& events, bool clear_flags) {
  phase_ = Phase::Closed;
  in_.clear();
  message_.clear();
  events.push_back({Event::Kind::End, "", clear_flags});
}

void WsSession::feed(const char* data, size_t n, std::vector<Event>& events) {
  if (phase_ == Phase::Closed) return;
  in_.append(data, n);
  if (phase_ == Phase::Handshake) take_request(events);
  while (phase_ == Phase::Open && take_frame(events)) {
  }
}

void WsSession::take_request(std::vector<Event>& events) {
  size_t end_of_request = in_.find("\r\n\r\n");
  if (end_of_request == std::string::npos) {
    if (in_.size() > kHandshakeMax) end(events, false);
    return;
  }
  end_of_request += 4;
  if (end_of_request > kHandshakeMax) {
    end(events, false);
    return;
  }
  std::string answer = answer_(in_.substr(0, end_of_request));
  if (answer.empty()) {
    end(events, false);
    return;
  }
  const bool upgraded = answer.rfind("HTTP/1.1 101 ", 0) == 0;
  events.push_back({Event::Kind::Send, std::move(answer)});
  if (!upgraded) {
    end(events, false);  // a refusal: nothing of the peer is read any more
    return;
  }
  in_.erase(0, end_of_request);  // what follows is the first frame's
  phase_ = Phase::Open;
}

bool WsSession::take_frame(std::vector<Event>& events) {
  FrameHead head;
  const auto* bytes = reinterpret_cast<const uint8_t*>(in_.data());
  int head_size = parse_frame_head(bytes, in_.size(), head);
  if (head_size == 0) return false;
  const bool control = (head.opcode & 0x8) != 0;
  const bool known = head.opcode == kContinuation || head.opcode == kText || head.opcode == kBinary ||
                     head.opcode == kClose || head.opcode == kPing || head.opcode == kPong;
  const bool data_in_order = control || (head.opcode == kContinuation) == in_message_;
  const bool control_ok = !control || (head.fin && head.payload_length <= 125);
  if (head_size < 0 || !known || !head.mask || !data_in_order || !control_ok ||
      head.payload_length > kFrameMax - (control ? 0 : message_.size())) {
    end(events, false);  // not a frame of this protocol, or too large
    return false;
  }
  const size_t whole = static_cast<size_t>(head_size) + static_cast<size_t>(head.payload_length);
  if (in_.size() < whole) return false;
  std::string payload = in_.substr(static_cast<size_t>(head_size), static_cast<size_t>(head.payload_length));
  in_.erase(0, whole);
  ++frames_;
  umaskTest(reinterpret_cast<uint8_t*>(&payload[0]), payload.size(), head.masking_key);

  switch (head.opcode) {
    case kPing:
      events.push_back({Event::Kind::Send, frame(WDT_PONG, payload)});
      return true;
    case kPong:
      return true;
    case kClose:
      // Answered with a close frame carrying the peer's status code.
      events.push_back(
          {Event::Kind::Send, frame(WDT_DISCONN, payload.size() >= 2 ? payload.substr(0, 2) : "")});
      end(events, true);
      return false;
    default:
      break;
  }
  message_ += payload;
  in_message_ = !head.fin;
  if (in_message_) return true;
  // A whole message: echoed as a text frame, then acted on.
  uint8_t echo_head[10];
  size_t echo_head_size = frame_head_bytes(message_.size(), echo_head);
  std::string echo(reinterpret_cast<char*>(echo_head), echo_head_size);
  events.push_back({Event::Kind::Send, echo + message_});
  events.push_back({Event::Kind::Act, std::move(message_)});
  message_.clear();
  return true;
}

}  // namespace channels
