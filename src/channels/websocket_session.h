#pragma once
// One GUI connection's protocol, apart from its socket: the bytes the peer
// sent go in; what to send back, what to act on and when to end come out, in
// order. The opening request is taken up to its empty line and no further;
// frames are taken as RFC 6455 has them (client frames masked, control
// frames answered, fragments joined). The server loop does the I/O, so this
// can be fed any byte buffer.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "channels/websocket_codec.h"

namespace channels {

inline constexpr uint64_t kFrameMax = 65536;  // larger frames or messages end the connection

class WsSession {
 public:
  enum class Phase { Handshake, Open, Closed };

  struct Event {
    enum class Kind {
      Send,  // bytes for the peer
      Act,   // a whole message, already echoed: act on it
      End,   // the connection ends (after what was sent)
    };
    Kind kind;
    std::string bytes;         // Send: the bytes; Act: the message
    bool clear_flags = false;  // End: the GUI features stop (the peer closed)
  };

  // The answer to a whole request (its header lines and the empty line); ""
  // refuses it and ends the connection unanswered; an answer other than
  // "HTTP/1.1 101 ..." is sent and ends the connection.
  using Answer = std::function<std::string(const std::string& request)>;
  explicit WsSession(Answer answer = handshake_response) : answer_(std::move(answer)) {}

  // Takes bytes from the peer; what follows from them is appended to events.
  void feed(const char* data, size_t n, std::vector<Event>& events);

  Phase phase() const { return phase_; }
  // Part of a request or frame is waiting for the rest.
  bool partial() const { return !in_.empty(); }
  // Frames taken so far.
  uint64_t frames() const { return frames_; }

 private:
  void take_request(std::vector<Event>& events);
  // One frame from in_; false when it is not complete yet or the session ended.
  bool take_frame(std::vector<Event>& events);
  void end(std::vector<Event>& events, bool clear_flags);

  Answer answer_;
  Phase phase_ = Phase::Handshake;
  std::string in_;        // bytes not taken yet
  std::string message_;   // fragments of an unfinished message
  bool in_message_ = false;
  uint64_t frames_ = 0;
};

}  // namespace channels
