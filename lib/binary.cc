#include "vesk/binary.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

#include "lib/log.h"
#include "lib/stream.h"
#include "lib/support/owned.h"

namespace vesk {
namespace {

using Bytes = std::span<const uint8_t>;

// What the decoder's messages name as their origin.
constexpr const char kSource[] = "lib/binary";
constexpr const char kFromBase64[] = "vk_binary_from_base64";

constexpr std::string_view kBase16 = "0123456789ABCDEF";
constexpr std::string_view kBase64 =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

using Base16Pair = std::array<char, 2>;
using Base64Group = std::array<char, 4>;

template <std::size_t N>
std::string_view text_of(const std::array<char, N>& characters) {
  return {characters.data(), N};
}

Bytes bytes_of(const vk_binary& binary) { return {binary.data, binary.len}; }

Base16Pair base16_pair(uint8_t byte) { return {kBase16[byte >> 4], kBase16[byte & 15]}; }

// One to three bytes as four characters, the last padded.
Base64Group base64_group(Bytes bytes) {
  uint32_t bits = 0;
  for (std::size_t i = 0; i < 3; ++i) bits = bits << 8 | (i < bytes.size() ? bytes[i] : 0U);
  Base64Group group;
  for (std::size_t i = 0; i < 4; ++i) {
    group[i] = i <= bytes.size() ? kBase64[bits >> (18 - 6 * i) & 63] : '=';
  }
  return group;
}

bool is_base16_digit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

// Of a character that is a digit.
uint8_t base16_value(char c) {
  return static_cast<uint8_t>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
}

bool all_base16_digits(std::string_view text) { return std::ranges::all_of(text, is_base16_digit); }

using OwnedBytes = Owned<uint8_t[], vk_free>;

// Null also for more bytes than a binary can count.
OwnedBytes new_bytes(vk_allocator* allocator, std::size_t size) {
  const bool fits = std::in_range<uint32_t>(size);
  return OwnedBytes(fits ? static_cast<uint8_t*>(vk_alloc(allocator, size)) : nullptr);
}

// What each character from "+" to "{" stands for in base64. The last, one beyond "z", and the
// padding stand for 0.
constexpr char kFirstBase64 = '+';
constexpr char kLastBase64 = '{';
constexpr uint8_t kNotBase64 = 0xFF;
constexpr std::size_t base64_index(char c) { return static_cast<std::size_t>(c - kFirstBase64); }
constexpr auto kBase64Values = [] {
  std::array<uint8_t, kLastBase64 - kFirstBase64 + 1> values;
  values.fill(kNotBase64);
  uint8_t value = 0;
  for (const char c : kBase64) values[base64_index(c)] = value++;
  values[base64_index('=')] = 0;
  values[base64_index(kLastBase64)] = 0;
  return values;
}();

uint8_t base64_value(char c) {
  return c < kFirstBase64 || c > kLastBase64 ? kNotBase64 : kBase64Values[base64_index(c)];
}

bool is_skipped_in_base64(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Reads base64 one character at a time into a buffer that is large enough. A character that is
// refused is logged.
class Base64Reader {
 public:
  explicit Base64Reader(uint8_t* out) : begin_(out), out_(out) {}

  // The whole text; false if it is not base64. A refusal in the middle of a block is told twice.
  bool read(const char* text) {
    bool accepted = true;
    for (; accepted && *text != '\0'; ++text) accepted = is_skipped_in_base64(*text) || add(*text);
    if (sextets_ == 0) return accepted;
    vk_log(kLogLibrary, VK_LOG_ERROR, kSource, __LINE__, kFromBase64,
           "Imcomplete last base64 block, len %zu", sextets_);
    return false;
  }

  uint32_t length() const { return static_cast<uint32_t>(out_ - begin_) - padding_; }

 private:
  bool add(char c) {
    const uint8_t value = base64_value(c);
    if (value == kNotBase64) {
      const unsigned int byte = static_cast<uint8_t>(c);
      vk_log(kLogLibrary, VK_LOG_ERROR, kSource, __LINE__, kFromBase64,
             "Unexpected character '%c' (0x%02x) in base64 data", static_cast<int>(byte), byte);
      return false;
    }
    if (c == '=' && ++padding_ == 3) {
      vk_log(kLogLibrary, VK_LOG_ERROR, kSource, __LINE__, kFromBase64,
             "Extra padding '=' in base64");
      return false;
    }
    if (c != '=' && padding_ != 0) {
      vk_log(kLogLibrary, VK_LOG_ERROR, kSource, __LINE__, kFromBase64,
             "Character '%c' after base64 EOS '='", c);
      return false;
    }
    add_sextet(value);
    return true;
  }

  void add_sextet(uint8_t value) {
    bits_ = bits_ << 6 | value;
    if (++sextets_ < 4) return;
    for (const int shift : {16, 8, 0}) *out_++ = static_cast<uint8_t>(bits_ >> shift);
    sextets_ = 0;
    bits_ = 0;
  }

  uint8_t* begin_;
  uint8_t* out_;
  uint32_t bits_ = 0;
  std::size_t sextets_ = 0;
  uint32_t padding_ = 0;
};

}  // namespace
}  // namespace vesk

uint32_t vk_binary_len(const vk_binary* binary) { return binary->len; }

uint8_t* vk_binary_data(const vk_binary* binary) { return binary->data; }

void vk_binary_init(vk_binary* binary, uint8_t* data, uint32_t len) {
  *binary = {.len = len, .data = data, .magic = VK_MAGIC_BINARY};
}

void vk_binary_destroy(vk_binary* binary) {
  binary->magic = VK_MAGIC_DEAD;
  vk_free(binary->data);
}

bool vk_binary_eq(const vk_binary* a, const vk_binary* b) {
  return a->len == b->len && (a->len == 0 || std::memcmp(a->data, b->data, a->len) == 0);
}

vk_error vk_base16_string(char* buffer, std::size_t size, const uint8_t* data, std::size_t length) {
  if (size == 0 || (size - 1) / 2 < length) return VK_EINVAL;
  for (const uint8_t byte : vesk::Bytes{data, length}) {
    for (const char digit : vesk::base16_pair(byte)) *buffer++ = digit;
  }
  *buffer = '\0';
  return VK_EOK;
}

void vk_binary_write_base16(vk_stream* stream, const vk_binary* binary) {
  for (const uint8_t byte : vesk::bytes_of(*binary)) {
    vesk::stream_write(*stream, vesk::text_of(vesk::base16_pair(byte)));
  }
}

void vk_binary_write_base64(vk_stream* stream, const vk_binary* binary) {
  vesk::Bytes rest = vesk::bytes_of(*binary);
  for (; rest.size() >= 3; rest = rest.subspan(3)) {
    vesk::stream_write(*stream, vesk::text_of(vesk::base64_group(rest.first(3))));
  }
  if (!rest.empty()) vesk::stream_write(*stream, vesk::text_of(vesk::base64_group(rest)));
}

vk_error vk_binary_from_base16(vk_binary* binary, const char* text, vk_allocator* allocator) {
  const std::size_t digits = std::strlen(text);
  if (digits % 2 != 0 || !vesk::all_base16_digits({text, digits})) return VK_EINVAL;
  vesk::OwnedBytes data = vesk::new_bytes(allocator, digits / 2);
  if (data == nullptr) return VK_ENOMEM;
  for (std::size_t i = 0; i < digits / 2; ++i) {
    data[i] = static_cast<uint8_t>(vesk::base16_value(text[2 * i]) << 4 |
                                   vesk::base16_value(text[2 * i + 1]));
  }
  vk_binary_init(binary, data.release(), static_cast<uint32_t>(digits / 2));
  return VK_EOK;
}

vk_error vk_binary_from_base64(vk_binary* binary, const char* text, vk_allocator* allocator) {
  vesk::OwnedBytes data = vesk::new_bytes(allocator, std::strlen(text) / 4 * 3 + 1);
  if (data == nullptr) return VK_ENOMEM;
  vesk::Base64Reader reader(data.get());
  if (!reader.read(text)) return VK_EINVAL;
  vk_binary_init(binary, data.release(), reader.length());
  return VK_EOK;
}
