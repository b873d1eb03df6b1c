#pragma once

// Texts longer than memory.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace vesk::test {

/// Texts of the letter "A" that may be as long as the address space allows: a small piece of memory
/// is mapped over and over. For 64-bit machines.
class HugeText {
 public:
  /// Gives texts of up to `longest` letters.
  explicit HugeText(std::size_t longest)
      : size_((longest + kPiece - 1) / kPiece * kPiece),
        begin_(map(nullptr, size_ + kPiece, PROT_NONE, kReserved, -1)) {
    const int letters = memfd_create("letters", 0);
    require(letters >= 0 && ftruncate(letters, kPiece) == 0);
    char* const piece = map(nullptr, kPiece, PROT_READ | PROT_WRITE, MAP_SHARED, letters);
    std::memset(piece, 'A', kPiece);
    munmap(piece, kPiece);
    for (std::size_t at = 0; at < size_; at += kPiece) {
      map(begin_ + at, kPiece, PROT_READ, MAP_SHARED | MAP_FIXED, letters);
    }
    close(letters);
    map(begin_ + size_, kPiece, PROT_READ, kReserved | MAP_FIXED, -1);  // zeros: the terminator
  }
  ~HugeText() { munmap(begin_, size_ + kPiece); }
  HugeText(const HugeText&) = delete;
  HugeText& operator=(const HugeText&) = delete;

  const char* of_length(std::size_t length) const { return begin_ + size_ - length; }

 private:
  static constexpr std::size_t kPiece = std::size_t{2} << 20;
  static constexpr int kReserved = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE;

  // A test that cannot have its text must not pass.
  static void require(bool had) {
    if (!had) std::abort();
  }

  static char* map(char* where, std::size_t size, int protection, int flags, int file) {
    void* const mapped = mmap(where, size, protection, flags, file, 0);
    require(mapped != MAP_FAILED);
    return static_cast<char*>(mapped);
  }

  std::size_t size_;
  char* begin_;
};

}  // namespace vesk::test
