#pragma once

// Refusals of the manager's requests. A request that is refused throws; what it throws is the
// answer: a status, a CWMP fault, and the faults of single names.

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "core/call.h"
#include "runtime/scan.h"
#include "vesk/error.h"

namespace vesk::core::dm {

// The fault codes of CWMP that are not the translation of a status.
inline constexpr uint32_t kInvalidArguments = 9003;
inline constexpr uint32_t kNotificationRejected = 9009;

/// What is wrong with one name.
struct Fault {
  std::string name;  ///< as the caller wrote it
  uint32_t status;
  uint32_t code;   ///< of CWMP
  Path path = {};  ///< what the name stands for, if anything
};

/// The CWMP fault code for a status.
uint32_t fault_code(vk_error status);
/// A fault whose code is the status's. "No answer" is told as `VK_ENOENT`.
Fault fault(const std::string& name, vk_error status, const Path& path = {});

class Refusal : public std::exception {
 public:
  Refusal(vk_error status, uint32_t code) : status_(status), code_(code) {}
  explicit Refusal(vk_error status) : Refusal(status, fault_code(status)) {}
  /// Status and code are those of the first fault.
  explicit Refusal(std::vector<Fault> faults);
  explicit Refusal(Fault fault) : Refusal(std::vector<Fault>{std::move(fault)}) {}
  /// A status that speaks for all faults, of which there may be none.
  /// @param instance the number of one that was added all the same, or 0
  Refusal(vk_error status, std::vector<Fault> faults, uint32_t instance = 0);

  const char* what() const noexcept override { return "a refused request"; }

  static constexpr std::size_t kMostFaults = 1024;
  /// The answer with the first of the faults: at most so many, and no more than keep it within the
  /// limits. For want of memory, nothing but the status.
  Answer answer(const rt::Limits& limits) const;

 private:
  Bytes tree(std::size_t faults) const;

  vk_error status_;
  uint32_t code_;
  std::vector<Fault> faults_;
  uint32_t instance_ = 0;
};

/// Thrown in place of a further step for a request that nobody waits for any more.
class Abandoned : public std::exception {};

/// The request itself cannot be read: 9003.
[[noreturn]] void refuse_arguments();

}  // namespace vesk::core::dm
