// Loggers and the stream that composes and delivers one record.
#include "korrin/logger.h"

#include <locale>
#include <vector>

namespace korrin {
namespace log {

namespace {

// Setting up a std::ostringstream (its locale and the facet cache of its
// ios base) costs more than composing a typical record, and a document
// update writes about one record per setting. So each thread keeps the
// streams of finished records and lends them to the next records; a lent
// stream is first put back into the state of a newly made one, so the text
// of a record does not depend on whether its stream is new or lent.
class StreamPool {
 public:
  StreamPool() = default;
  StreamPool(const StreamPool&) = delete;
  StreamPool& operator=(const StreamPool&) = delete;
  ~StreamPool();

  std::ostringstream* take();
  void give_back(std::ostringstream* stream);

 private:
  std::vector<std::ostringstream*> idle_;
};

// Records nest only while composing one record calls something that logs,
// so a few idle streams serve every record of a thread.
constexpr std::size_t kIdleStreams = 4;
// A stream that held a longer record (a quoted document, say) is not kept,
// so a thread holds at most a few small buffers.
constexpr std::streamoff kLongestKeptRecord = 4096;

// Set when this thread's pool is destroyed at thread exit; plain data, so it
// can still be read by a record written from a later thread-exit destructor.
thread_local bool pool_gone = false;
thread_local StreamPool pool;

// The state of a newly made std::ostringstream: empty, good, default format
// flags, precision, width and fill, no tie, no exceptions, the current
// global locale.
void make_like_new(std::ostringstream& stream) {
  stream.str(std::string());
  stream.clear();
  stream.exceptions(std::ios_base::goodbit);
  stream.flags(std::ios_base::skipws | std::ios_base::dec);
  stream.precision(6);
  stream.width(0);
  stream.fill(' ');
  stream.tie(nullptr);
  const std::locale global;
  if (stream.getloc() != global) {
    stream.imbue(global);
  }
}

StreamPool::~StreamPool() {
  for (std::ostringstream* stream : idle_) {
    delete stream;
  }
  idle_.clear();
  pool_gone = true;
}

std::ostringstream* StreamPool::take() {
  if (idle_.empty()) {
    return new std::ostringstream;
  }
  std::ostringstream* stream = idle_.back();
  idle_.pop_back();
  make_like_new(*stream);
  return stream;
}

void StreamPool::give_back(std::ostringstream* stream) {
  const std::streamoff length =
      stream->rdbuf()->pubseekoff(0, std::ios_base::cur, std::ios_base::out);
  if (idle_.size() >= kIdleStreams || length < 0 || length > kLongestKeptRecord) {
    delete stream;
    return;
  }
  idle_.push_back(stream);
}

std::ostringstream& take_stream() {
  if (pool_gone) {
    return *new std::ostringstream;
  }
  return *pool.take();
}

void give_back_stream(std::ostringstream& stream) {
  if (pool_gone) {
    delete &stream;
    return;
  }
  pool.give_back(&stream);
}

}  // namespace

LogStream::LogStream(HostLogInterface* host_sink, LogLevel record_level, const std::string& name,
                     bool is_enabled)
    : stream(take_stream()), host(host_sink), level(record_level), enabled(is_enabled) {
  stream << std::boolalpha << name << ": ";
}

LogStream::~LogStream() {
  flush();
  give_back_stream(stream);
}

void LogStream::flush() {
  if (!enabled || host == nullptr) {
    return;
  }
  host->write_record(level, stream.str());
}

Logger::Logger(HostLogInterface* host_sink, const std::string& logger_name, bool is_enabled)
    : host(host_sink), name(logger_name), enabled(is_enabled) {}

Logger::~Logger() = default;

LogStream Logger::critical() { return LogStream(host, LogLevel::critical, name, enabled); }
LogStream Logger::error() { return LogStream(host, LogLevel::error, name, enabled); }
LogStream Logger::warning() { return LogStream(host, LogLevel::warning, name, enabled); }
LogStream Logger::notice() { return LogStream(host, LogLevel::notice, name, enabled); }
LogStream Logger::info() { return LogStream(host, LogLevel::info, name, enabled); }
LogStream Logger::debug() { return LogStream(host, LogLevel::debug, name, enabled); }

}  // namespace log
}  // namespace korrin

korrin::log::Logger* create_logger(korrin::log::HostLogInterface* host, const std::string& name,
                                   bool enabled) {
  return new korrin::log::Logger(host, name, enabled);
}

void delete_logger(korrin::log::Logger* logger) { delete logger; }
