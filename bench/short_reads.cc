// Measures from which size on a field on a local stream socket comes back short: a child writes
// fields of one size, each with one write, and this process asks for each with one read. For each
// send buffer it tries the largest size that should come whole and the next one.

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr int kFields = 20'000;

// What Linux keeps in one piece: half of the send buffer without its own needs, and never more than
// this, found by trying on Linux 6.18, x86-64.
constexpr int kLargestPiece = 36'544;

constexpr int piece_of(int buffer) { return std::min(buffer / 2 - 64, kLargestPiece); }

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "short_reads: cannot %s\n", what);
  std::exit(1);
}

struct Sockets {
  explicit Sockets(int wanted) {
    require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) == 0, "make a pair of sockets");
    require(setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &wanted, sizeof wanted) == 0, "set");
    socklen_t size = sizeof buffer;
    require(getsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &buffer, &size) == 0, "get the buffer");
  }
  ~Sockets() {
    for (const int end : ends) close(end);
  }
  Sockets(const Sockets&) = delete;
  Sockets& operator=(const Sockets&) = delete;

  std::array<int, 2> ends{};
  int buffer = 0;
};

[[noreturn]] void write_fields(const Sockets& sockets, const std::vector<char>& field) {
  close(sockets.ends[1]);  // so that writing ends when the reader does
  for (int i = 0; i < kFields; ++i) {
    const ssize_t moved = write(sockets.ends[0], field.data(), field.size());
    if (moved != static_cast<ssize_t>(field.size())) _exit(1);
  }
  _exit(0);
}

// Reads one field, whole in the end; tells whether the first read was short.
bool read_short(int fd, std::vector<char>& field) {
  const ssize_t first = read(fd, field.data(), field.size());
  require(first > 0, "read");
  std::size_t had = static_cast<std::size_t>(first);
  while (had < field.size()) {
    const ssize_t moved = read(fd, field.data() + had, field.size() - had);
    require(moved > 0, "read the rest");
    had += static_cast<std::size_t>(moved);
  }
  return static_cast<std::size_t>(first) < field.size();
}

int count_short(int wanted, int size) {
  const Sockets sockets(wanted);
  std::vector<char> field(static_cast<std::size_t>(size));
  const pid_t writer = fork();
  require(writer >= 0, "start the writer");
  if (writer == 0) write_fields(sockets, field);
  int count = 0;
  for (int i = 0; i < kFields; ++i) count += read_short(sockets.ends[1], field);
  int status = 0;
  require(waitpid(writer, &status, 0) == writer && status == 0, "write all");
  return count;
}

}  // namespace

int main() {
  std::printf("short reads of %d\nSO_SNDBUF     size      short     size      short\n", kFields);
  for (const int wanted : {4096, 8192, 16384, 32768, 65536, 106496}) {
    const int buffer = Sockets(wanted).buffer;
    const int piece = piece_of(buffer);
    std::printf("%9d  %7d  %9d  %7d  %9d\n", buffer, piece, count_short(wanted, piece), piece + 1,
                count_short(wanted, piece + 1));
  }
  return 0;
}
