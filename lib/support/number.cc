#include "lib/support/number.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <limits>
#include <type_traits>

namespace vesk {
namespace {

// What stands in a text, before any type's range is applied.
struct Number {
  uint64_t magnitude = 0;
  bool negative = false;
  bool too_large = false;  ///< the magnitude does not fit 64 bits
  const char* end;
};

Number read_number(const char* text) {
  const char* digits = text + std::strspn(text, " \t\n\v\f\r");
  Number number{.end = text};
  number.negative = *digits == '-';
  if (*digits == '-' || *digits == '+') ++digits;
  const auto [end, error] =
      std::from_chars(digits, digits + std::strspn(digits, "0123456789"), number.magnitude);
  if (end != digits) number.end = end;
  number.too_large = error == std::errc::result_out_of_range;
  return number;
}

// The largest magnitude that a type holds with the given sign. For unsigned types a sign does not
// change what fits.
template <typename T>
uint64_t largest_magnitude(bool negative) {
  const uint64_t largest = static_cast<uint64_t>(std::numeric_limits<T>::max());
  return std::is_signed_v<T> && negative ? largest + 1 : largest;
}

template <typename T>
T text_to(const char* text, const char** end) {
  using Limits = std::numeric_limits<T>;
  const Number number = read_number(text);
  if (end != nullptr) *end = number.end;
  if (number.too_large || number.magnitude > largest_magnitude<T>(number.negative)) {
    errno = ERANGE;
    return std::is_signed_v<T> && number.negative ? Limits::min() : Limits::max();
  }
  return static_cast<T>(number.negative ? 0 - number.magnitude : number.magnitude);
}

}  // namespace

int32_t text_to_int32(const char* text, const char** end) { return text_to<int32_t>(text, end); }

uint32_t text_to_uint32(const char* text, const char** end) { return text_to<uint32_t>(text, end); }

int64_t text_to_int64(const char* text, const char** end) { return text_to<int64_t>(text, end); }

uint64_t text_to_uint64(const char* text, const char** end) { return text_to<uint64_t>(text, end); }

}  // namespace vesk
