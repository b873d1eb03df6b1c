#include "tests/support/log_spy.h"

#include <cstdarg>
#include <cstdio>

#include "lib/log.h"
#include "tests/support/allocation_fault.h"
#include "vesk/log.h"
#include "vesk/module.h"

extern "C" {
void __real_vk_log(int category, int level, const char* file, unsigned int line,
                   const char* function, const char* format, ...);
void __wrap_vk_log(int category, int level, const char* file, unsigned int line,
                   const char* function, const char* format, ...);
void __wrap_openlog(const char* ident, int option, int facility);
void __wrap_closelog();
void __wrap_syslog(int priority, const char* format, ...);
}

namespace vesk::test {
namespace {

struct Record {
  std::vector<LogLine> lines;
  std::vector<LogCall> calls;
  std::vector<std::string> connection;
};

Record* record = nullptr;

void begin_anew() {
  log_state = {};
  vk_log_stream = nullptr;
  vk_module_ctx = nullptr;
}

std::string formatted(const char* format, va_list arguments) {
  char text[8192];
  return std::vsnprintf(text, sizeof text, format, arguments) < 0 ? "" : text;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
  return out << line.priority << " \"" << line.text << '"';
}

bool LogCall::operator==(const LogCall& other) const {
  return category == other.category && level == other.level && file == other.file &&
         function == other.function && text == other.text;
}

std::ostream& operator<<(std::ostream& out, const LogCall& call) {
  return out << call.category << '/' << call.level << ' ' << call.file << ':' << call.line << ' '
             << call.function << ": \"" << call.text << '"';
}

LogSpy::LogSpy() {
  record = new Record;
  begin_anew();
}

LogSpy::~LogSpy() {
  begin_anew();
  delete record;
  record = nullptr;
}

const std::vector<LogLine>& LogSpy::lines() const { return record->lines; }
const std::vector<LogCall>& LogSpy::calls() const { return record->calls; }
const std::vector<std::string>& LogSpy::connection() const { return record->connection; }
void LogSpy::forget() { *record = {}; }

}  // namespace vesk::test

void __wrap_vk_log(int category, int level, const char* file, unsigned int line,
                   const char* function, const char* format, ...) {
  const vesk::test::Unwatched unwatched;
  va_list arguments;
  va_start(arguments, format);
  const std::string text = vesk::test::formatted(format, arguments);
  va_end(arguments);
  if (vesk::test::record != nullptr) {
    vesk::test::record->calls.push_back({category, level, file, line, function, text});
  }
  __real_vk_log(category, level, file, line, function, "%s", text.c_str());
}

void __wrap_openlog(const char* ident, int option, int facility) {
  const vesk::test::Unwatched unwatched;
  if (vesk::test::record == nullptr) return;
  vesk::test::record->connection.push_back(std::string("openlog ") + ident + ' ' +
                                           std::to_string(option) + ' ' + std::to_string(facility));
}

void __wrap_closelog() {
  const vesk::test::Unwatched unwatched;
  if (vesk::test::record != nullptr) vesk::test::record->connection.push_back("closelog");
}

void __wrap_syslog(int priority, const char* format, ...) {
  const vesk::test::Unwatched unwatched;
  if (vesk::test::record == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  vesk::test::record->lines.push_back({priority, vesk::test::formatted(format, arguments)});
  va_end(arguments);
  vesk::test::record->connection.push_back("syslog " + std::to_string(priority) + ' ' + format);
}
