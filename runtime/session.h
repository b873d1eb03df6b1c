#pragma once

// The module's lines to one core, from the attaching of the main line to its end.
//
// The session owns all lines. A busy one is in use by a function that is under way: when it is
// lost, or the whole session is, only its descriptor goes, and its user gives it back. The lines on
// which the core may speak at any time are in the poller, which wakes the module's loop; while a
// call is waited for, they are polled here together with the calling lines.

#include <poll.h>

#include <array>
#include <cstdint>

#include "lib/support/made.h"
#include "runtime/line.h"
#include "runtime/poller.h"
#include "runtime/scan.h"
#include "vesk/runtime.h"

namespace vesk::rt {

enum class Role : uint8_t {
  kMain,     ///< says nothing; its end is the session's
  kCalling,  ///< carries the module's calls
  kTurning,  ///< has asked to become a serving line
  kServing   ///< carries the core's requests
};

struct ModuleLine {
  ModuleLine(Fd fd, Role its_role) : line(std::move(fd)), role(its_role) {}

  Line line;
  Role role;
  bool busy = false;
  bool ready = false;  ///< something may have come
  uint64_t identity = 0;
  Made<ModuleLine> next;
};

class Session {
 public:
  /// All are borrowed.
  Session(Poller& poller, const vk_module_descriptor& descriptor, const char* socket)
      : poller_(poller), descriptor_(descriptor), socket_(socket) {}
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() { close(); }

  bool is_open() const { return open_; }
  const Limits& limits() const { return limits_; }

  /// Attaches the module, and opens the first serving line.
  /// @param patience how long to wait for a core
  /// @param stop     ends the waiting when it is readable; -1 for none
  /// @param refused  receives whether the result is what the core said
  /// @return `VK_EOK`; what the core said if it refused; otherwise as for `connect_patiently`, or
  ///         `VK_ETIMEDOUT` if the core went away or was silent, or `VK_ENOMEM`
  [[nodiscard]] vk_error open(const Deadline& patience, int stop, bool& refused);

  /// Closes all lines.
  void close();

  /// Takes an idle calling line or opens one; it is busy then.
  /// @return `VK_EOK`; `VK_EIO` if the core is gone; `VK_ETIMEDOUT` if it is silent; `VK_EBUSY` if
  ///         there are too many; what the core said if it refused; `VK_ENOMEM`, also if no
  ///         descriptor is left
  [[nodiscard]] vk_error take_calling_line(ModuleLine*& line);

  /// Makes a call that the core answers by itself, and waits for nothing else.
  /// @return the call's result; `VK_EIO` if the core is gone or silent, or if there is no memory or
  ///         descriptor to ask it
  [[nodiscard]] uint32_t tell(const char* path, const vk_value& arguments);

  /// Sees to it that the core finds a serving line idle, if one can be had in short time.
  void offer_serving_line();

  /// Replaces the last serving line if it was lost. Closes the session if the core gives none; for
  /// want of memory or a descriptor it is left without, to be tried again.
  void keep_serving_line();

  bool has_serving_line() const;

  /// Gives a line back: it is idle again, or gone if it was lost.
  void give_back(ModuleLine& line);

  /// Waits until something comes on a calling line that is busy or on a line of the poller.
  void wait();

  /// Says that something may have come on the line of an identity, if it is one of a line.
  void mark_ready(uint64_t identity);

  /// Looks at what has come on the lines that are ready. Gives a line with a request, which is busy
  /// from now on; null when nothing is left to look at. May close the session.
  ModuleLine* next_request();

  /// Whether `next_request` has something to look at.
  bool has_ready() const;

 private:
  [[nodiscard]] vk_error add(Fd fd, Role role, ModuleLine*& line);
  [[nodiscard]] vk_error connect(Role role, const Deadline& deadline, ModuleLine*& line);
  [[nodiscard]] vk_error attach(ModuleLine& line, const Deadline& deadline, bool& refused);
  [[nodiscard]] vk_error begin(Fd fd, bool& refused);
  [[nodiscard]] vk_error open_serving_line(const Deadline& deadline, bool& refused);
  ModuleLine* idle_calling_line();
  bool look_at(ModuleLine& line);
  bool is_polled(const ModuleLine& line) const;
  void turn(ModuleLine& line);
  void remove(const ModuleLine& line);

  // Beyond them no line is opened.
  static constexpr uint32_t kMostLines = 128;

  Poller& poller_;
  const vk_module_descriptor& descriptor_;
  const char* socket_;
  Limits limits_;
  bool open_ = false;
  uint32_t count_ = 0;
  Made<ModuleLine> first_;  // the main line, while the session is open
  std::array<pollfd, kMostLines> polled_;
};

}  // namespace vesk::rt
