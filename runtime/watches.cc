#include "runtime/watches.h"

#include <cerrno>

#include "lib/log.h"

namespace vesk::rt {
namespace {

vk_error refusal_for(int error) {
  if (error == EPERM) return VK_EOPNOTSUPP;
  return error == ENOMEM || error == ENOSPC ? VK_ENOMEM : VK_EINVAL;
}

}  // namespace

Watches::~Watches() {
  while (first_ != nullptr) remove(*first_);
}

vk_error Watches::add(vk_allocator* heap, int fd, const char* path) {
  check();
  for (const Watch* watch = first_.get(); watch != nullptr; watch = watch->next.get()) {
    if (watch->fd == fd) return VK_EEXIST;
  }
  Made<Watch> made = make<Watch>();
  if (made == nullptr) return VK_ENOMEM;
  made->path.reset(vk_strdup(heap, path));
  if (made->path == nullptr) return VK_ENOMEM;
  made->fd = fd;
  made->identity = poller_.new_identity();
  if (poller_.add(made->poller.fd(), made->identity) != 0) return VK_ENOMEM;
  const int error = made->poller.add(fd, made->identity);
  if (error != 0) return refusal_for(error);
  made->next = std::move(first_);
  first_ = std::move(made);
  return VK_EOK;
}

vk_error Watches::del(int fd) {
  const Watch* watch = first_.get();
  while (watch != nullptr && watch->fd != fd) watch = watch->next.get();
  if (watch == nullptr) return VK_ENOENT;
  remove(*watch);
  return VK_EOK;
}

void Watches::check() {
  for (Watch* watch = first_.get(); watch != nullptr;) {
    Watch* const next = watch->next.get();
    if (watch->poller.renew(watch->fd, watch->identity) != 0) end(*watch, "it is no longer open");
    watch = next;
  }
}

Watch* Watches::find(uint64_t identity) const {
  Watch* watch = first_.get();
  while (watch != nullptr && watch->identity != identity) watch = watch->next.get();
  return watch;
}

void Watches::end(const Watch& watch, const char* reason) {
  vk_log(kLogLibrary, VK_LOG_ERROR, "runtime/watches", __LINE__, __func__,
         "Descriptor %d of '%s' is watched no longer: %s", watch.fd, watch.path.get(), reason);
  remove(watch);
}

void Watches::remove(const Watch& watch) {
  Made<Watch>* link = &first_;
  while (link->get() != &watch) link = &(*link)->next;
  poller_.remove(watch.poller.fd());
  *link = std::move((*link)->next);
}

}  // namespace vesk::rt
