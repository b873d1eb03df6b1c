#include "core/manager_faults.h"

#include <algorithm>
#include <array>
#include <new>
#include <span>
#include <utility>

#include "core/manager_tree.h"
#include "vesk/net/cwmp_utils.h"

namespace vesk::core::dm {
namespace {

struct Translation {
  vk_error status;
  uint32_t code;
};

constexpr uint32_t kInternalError = 9002;

constexpr std::array kTranslations = {
    Translation{VK_ENOENT, 9005}, Translation{VK_ENOANSWER, 9005}, Translation{VK_ETYPE, 9006},
    Translation{VK_EINVAL, 9007}, Translation{VK_EVALUE, 9007},    Translation{VK_ERO, 9008},
    Translation{VK_ENOMEM, 9004}, Translation{VK_EBUSY, 9004},     Translation{VK_EAUTH, 9001},
    Translation{VK_ENOSYS, 9000}, Translation{VK_EOPNOTSUPP, 9000}};

void tell_code(vk_value& object, uint32_t code) {
  check(vk_object_set_uint(&object, "FaultCode", code));
  set_text(object, "FaultString", vk_cwmp_get_fault_string(code));
}

}  // namespace

uint32_t fault_code(vk_error status) {
  for (const Translation& row : kTranslations) {
    if (row.status == status) return row.code;
  }
  return kInternalError;
}

Fault fault(const std::string& name, vk_error status, const Path& path) {
  // To a caller of the manager "no answer" would mean that there is no manager.
  if (status == VK_ENOANSWER) status = VK_ENOENT;
  return {name, status, fault_code(status), path};
}

Refusal::Refusal(std::vector<Fault> faults)
    : status_(faults.front().status), code_(faults.front().code), faults_(std::move(faults)) {}

Refusal::Refusal(vk_error status, std::vector<Fault> faults, uint32_t instance)
    : status_(status), code_(fault_code(status)), faults_(std::move(faults)), instance_(instance) {}

Bytes Refusal::tree(std::size_t faults) const {
  const Heap heap;
  const OwnedValue value = heap.object();
  tell_code(*value, code_);
  vk_value& list = add_array(*value, "Faults");
  for (const Fault& each : std::span(faults_).first(faults)) {
    vk_value& element = add_object_to(list);
    set_text(element, "ParameterName", each.name);
    tell_code(element, each.code);
  }
  if (instance_ != 0) check(vk_object_set_uint(value.get(), "InstanceNumber", instance_));
  return encode(*value);
}

Answer Refusal::answer(const rt::Limits& limits) const try {
  std::size_t faults = std::min(faults_.size(), kMostFaults);
  Bytes value = tree(faults);
  while (faults != 0 && !is_within(limits, value)) {
    faults /= 2;
    value = tree(faults);
  }
  return {status_, std::move(value)};
} catch (const std::bad_alloc&) {
  return {status_};
}

void refuse_arguments() { throw Refusal(VK_EINVAL, kInvalidArguments); }

}  // namespace vesk::core::dm
