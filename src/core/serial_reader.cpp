#include "core/serial_reader.h"

#include <cerrno>
#include <cstring>

namespace core {

namespace {

const char* const kForwardFilter[] = {
    "telnet23", "[SUCCESS]Mqtt Process Detection", "telnet24", "GUI Get Tip Messages Start",
    "GUI Get Tip Messages End", "GUI Get IEC Power Controller Start",
    "GUI Get DC Power Controller Start", "GUI Get IEC Power Controller End",
    "GUI Get DC Power Controller End", "Set TCP/IP1 Enable", "Set TCP/IP2 Enable",
    "[SUCCESS]Get Device Name To ", "[FAIL]GUI ", "[SUCCESS]GUI ", "RUNTIME", "CMDTIME:",
    "[SUCCESS]Get Current Model Name To ", "Clue:", "Note:", "<Get", "<Out", "<TCP", "<MAC",
    "<mDNS", "<Total", "<Voltage", "<Frequency", "<Power"};

const char* const kMicLevels[] = {"MIC1 Peak_Level", "MIC2 Peak_Level", "MIC3 Peak_Level",
                                  "MIC4 Peak_Level"};

constexpr const char* kMqttMarker = "MQTT ";
constexpr const char* kResetAnnouncement = "[SUCCESS]Doing Reset, Please Wait A Moment";

}  // namespace

bool is_forward_filtered(const char* message) {
  for (const char* text : kForwardFilter)
    if (std::strstr(message, text)) return true;
  return false;
}

SerialReader::SerialReader(board::Board& board, SharedState& state, ThreadPool& pool,
                           McuOutput& output)
    : board_(board), state_(state), pool_(pool), output_(output) {}

void SerialReader::reset() {
  n_ = 0;
  buf_.fill('\0');
}

void SerialReader::on_byte(char c) {
  std::fputc(c, board_.out);
  if (state_.machine_type_is("7")) output_.byte_to_telnet_client(c);
  if (flushed_) {
    // The first byte after a flush starts a new message under the usual rules.
    flushed_ = false;
    polling_ = false;
  }
  empty_reads_ = 0;
  buf_[n_++] = c;
  // The message ends here even where an overflow left older bytes behind.
  buf_[n_] = '\0';
  if (n_ >= kOverflowAt) {
    state_.dropped_by_reader.fetch_add(1);
    board_.print("Long data for COMMANDMAX bengin--------------!\n");
    board_.print("buf: %zu\n", std::strlen(buf_.data()));
    n_ = 0;
    // Only the first 1024 bytes are cleared; the rest is overwritten later.
    std::memset(buf_.data(), 0, 1024);
    board_.print("Long data for COMMANDMAX end----------------!\n");
    polling_ = false;
    return;
  }
  if (n_ >= 2 && buf_[n_ - 2] == '\r' && c == '\n' && n_ < kCrLfLimit) {
    polling_ = false;
    end_by_crlf();
    return;
  }
  // A '.' may end a message by silence: from here on the reader counts
  // silent reads, and any byte that comes restarts the count.
  if (c == '.') polling_ = true;
}

void SerialReader::on_silence() {
  if (!polling_) return;
  if (empty_reads_ == kSilentReads) {
    flush_by_silence();
    flushed_ = true;
  }
  ++empty_reads_;
  board_.clock.sleep_ms(1);
}

void SerialReader::flush_by_silence() {
  state_.note_mcu_message();
  output_.to_tcp_client(buf_.data(), n_);
  if (!std::strstr(buf_.data(), "\n\r")) queue_copy(buf_.data());
  reset();
}

void SerialReader::end_by_crlf() {
  char* msg = buf_.data();
  state_.note_mcu_message();
  if (state_._checkWebSocketReflesh.load() == 0) {
    for (const char* mic : kMicLevels) {
      if (std::strstr(msg, mic)) {
        reset();
        return;
      }
    }
  }
  if (std::strlen(msg) < n_ - 1) {
    state_.dropped_by_reader.fetch_add(1);
    board_.print("buff[1857:20250217]%s\n", msg);
    reset();
    state_.CheckStatusMode.store(0);
    return;
  }
  if (std::strstr(msg, "GUI Get Tip Messages End")) board_.nvram.set("Tipmessage", "1");

  bool pass = !is_forward_filtered(msg);
  const char* mqtt = std::strstr(msg, kMqttMarker);
  if (pass && board_.nvram.get("EnableTelnet") == std::optional<std::string>("0")) {
    if (mqtt)
      output_.to_telnet_sessions(mqtt, std::strlen(mqtt));
    else
      output_.to_telnet_sessions(msg, n_);
  }
  if (pass && board_.nvram.get("sshOpen") == std::optional<std::string>("1"))
    output_.to_ssh_sessions(msg, n_);

  // Strip the end: ".\r\n" or "\r\n".
  if (n_ >= 3 && msg[n_ - 3] == '.')
    msg[n_ - 3] = '\0';
  else
    msg[n_ - 2] = '\0';

  if (std::strstr(msg, kResetAnnouncement) && on_reset_announcement) on_reset_announcement();
  if (!std::strstr(msg, "\n\r")) queue_copy(msg);

  if (const char* marker = std::strstr(msg, kMqttMarker)) {
    board_.nvram.set("mqttBrokerpayloadvalue", marker);
    board_.nvram.set("Guiupsys", "3");
    board_.mcu.write("GUISYSTIME\r\n", 12);
  }
  reset();
}

void SerialReader::queue_copy(const char* text) {
  Message copy = new_message();
  std::strncpy(copy.get(), text, kMessageSize - 1);
  if (!pool_.add(copy)) board_.print("Failed to add task to thread pool\n");
}

void SerialReader::run(board::ByteSource& source, const std::atomic<bool>& stop,
                       const std::function<bool()>& reopen) {
  char chunk[256];
  while (!stop.load()) {
    // While a '.' may end the message, silent 100 ms periods are counted;
    // otherwise the reader just waits for the line.
    board::ByteSource::Wait w = source.wait(polling_ ? 100 : -1);
    if (stop.load()) break;
    if (w == board::ByteSource::Wait::Silence) {
      on_silence();
      continue;
    }
    if (w == board::ByteSource::Wait::Data) {
      ssize_t got = source.read(chunk, sizeof chunk);
      if (got > 0) {
        if (on_bytes) on_bytes(chunk, static_cast<size_t>(got));
        for (ssize_t i = 0; i < got; ++i) on_byte(chunk[i]);
        std::fflush(board_.out);
        continue;
      }
      if (got < 0 && errno == EINTR) continue;
    }
    // A hung-up or failed line: say why, wait, and open it again.
    std::string why = source.failure();
    board_.print("MCU line read error: %s; reopening\n", why.empty() ? "unknown" : why.c_str());
    if (!reopen) return;
    do {
      board_.clock.sleep_ms(1000);
      if (stop.load()) return;
    } while (!reopen());
    board_.print("MCU line reopened\n");
  }
}

}  // namespace core
