#include "modules/support/system_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vesk/module.h"

namespace vesk::modules {
namespace {

const char* root = "";

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

void trim(Text& text) {
  std::size_t begin = 0;
  std::size_t end = std::strlen(text.data());
  while (end > 0 && is_space(text[end - 1])) --end;
  while (begin < end && is_space(text[begin])) ++begin;
  std::memmove(text.data(), text.data() + begin, end - begin);
  text[end - begin] = '\0';
}

void unquote(Text& text) {
  const char quote = text[0];
  if (quote != '"' && quote != '\'') return;
  std::size_t to = 0;
  for (std::size_t from = 1; text[from] != '\0' && text[from] != quote; ++from) {
    const bool escapes = quote == '"' && text[from] == '\\' && text[from + 1] != '\0';
    if (escapes) ++from;
    text[to++] = text[from];
  }
  text[to] = '\0';
}

// A copy up to the line's end.
Text line_at(const char* begin) {
  Text line{};
  std::memcpy(line.data(), begin, std::strcspn(begin, "\n"));  // a part of another text
  return line;
}

bool begins_with_key(const char* line, const char* key) {
  const std::size_t length = std::strlen(key);
  return std::strncmp(line, key, length) == 0 && (line[length] == '=' || line[length] == ':');
}

// As many bytes as there are and fit; none after an error.
std::size_t read_all(int file, char* bytes, std::size_t room) {
  std::size_t length = 0;
  ssize_t got = 0;
  while ((got = read(file, bytes + length, room - length)) > 0) {
    length += static_cast<std::size_t>(got);
  }
  return got < 0 ? 0 : length;
}

void cut_last_line(Text& text) {
  char* const end = std::strrchr(text.data(), '\n');
  if (end != nullptr) *end = '\0';
}

}  // namespace

void set_root_from_parameters() {
  char* text = nullptr;
  root = vk_module_get_param_str("root", &text) == VK_EOK ? text : "";
}

Text below_root(const char* path) {
  Text text{};
  std::snprintf(text.data(), text.size(), "%s%s", root, path);
  return text;
}

bool read_file(const char* path, Text& text) {
  text = {};
  const int file = open(below_root(path).data(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const std::size_t room = text.size() - 1;
  const std::size_t length = read_all(file, text.data(), room);
  close(file);
  text[length] = '\0';
  if (length == room) cut_last_line(text);
  return text[0] != '\0';
}

bool read_line(const char* path, Text& line) {
  if (!read_file(path, line)) return false;
  line = line_at(line.data());
  trim(line);
  return line[0] != '\0';
}

Text value_of(const Text& lines, const char* key) {
  for (const char* line = lines.data(); line != nullptr; line = std::strchr(line, '\n')) {
    if (*line == '\n') ++line;
    if (!begins_with_key(line, key)) continue;
    Text value = line_at(line + std::strlen(key) + 1);
    trim(value);
    unquote(value);
    return value;
  }
  return {};
}

uint64_t number_of(const Text& text) { return std::strtoull(text.data(), nullptr, 10); }

}  // namespace vesk::modules
