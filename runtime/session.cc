#include "runtime/session.h"

#include "runtime/connect.h"
#include "runtime/message.h"
#include "runtime/opener.h"

namespace vesk::rt {
namespace {

// For what the core answers at once and by itself: one that does not is as good as gone.
constexpr int kOpeningTime = 5000;

// A call does not wait for a spare serving line, but does not overtake the request for it either.
constexpr int kSpareTime = 250;

}  // namespace

vk_error Session::open(const Deadline& patience, int stop, bool& refused) {
  refused = false;
  Fd fd;
  vk_error error = connect_patiently(socket_, patience, stop, fd);
  if (error != VK_EOK) return error;
  error = begin(std::move(fd), refused);
  if (error == VK_EOK) return error;
  close();
  return refused || error == VK_ENOMEM ? error : VK_ETIMEDOUT;
}

vk_error Session::begin(Fd fd, bool& refused) {
  limits_ = Limits();
  ModuleLine* main = nullptr;
  vk_error error = add(std::move(fd), Role::kMain, main);
  if (error == VK_EOK) error = attach(*main, Deadline::in(kOpeningTime), refused);
  open_ = error == VK_EOK;
  return open_ ? open_serving_line(Deadline::in(kOpeningTime), refused) : error;
}

// What has come by then is still good: a core that goes may have answered before.
void Session::close() {
  open_ = false;
  for (ModuleLine* line = first_.get(); line != nullptr;) {
    ModuleLine* const next = line->next.get();
    if (line->busy) static_cast<void>(line->line.receive());
    line->line.close();
    if (!line->busy) remove(*line);
    line = next;
  }
}

vk_error Session::take_calling_line(ModuleLine*& line) {
  if (!open_) return VK_EIO;
  line = idle_calling_line();
  if (line == nullptr) {
    const Deadline deadline = Deadline::in(kOpeningTime);
    vk_error error = connect(Role::kCalling, deadline, line);
    if (error != VK_EOK) return error;
    bool refused = false;
    error = attach(*line, deadline, refused);
    if (error != VK_EOK) {
      remove(*line);
      return error;
    }
  }
  line->busy = true;
  return VK_EOK;
}

uint32_t Session::tell(const char* path, const vk_value& arguments) {
  ByteBuffer request;
  vk_error error = put_request(request, 0, path, 0, &arguments, limits_);
  ModuleLine* line = nullptr;
  if (error == VK_EOK) error = take_calling_line(line);
  if (error != VK_EOK) {
    return error == VK_ETIMEDOUT || error == VK_ENOMEM ? VK_EIO : error;
  }
  error = line->line.exchange(request.bytes(), Deadline::in(kOpeningTime));
  const uint32_t status = error == VK_EOK ? take_response(line->line.message(), nullptr) : VK_EIO;
  if (error != VK_EOK) line->line.close();
  give_back(*line);
  return status;
}

void Session::offer_serving_line() {
  if (!open_) return;
  for (const ModuleLine* line = first_.get(); line != nullptr; line = line->next.get()) {
    if (line->role == Role::kTurning || (line->role == Role::kServing && !line->busy)) return;
  }
  bool refused = false;
  static_cast<void>(open_serving_line(Deadline::in(kSpareTime), refused));
}

void Session::keep_serving_line() {
  if (!open_ || has_serving_line()) return;
  bool refused = false;
  const vk_error error = open_serving_line(Deadline::in(kOpeningTime), refused);
  if (error != VK_EOK && error != VK_ENOMEM) close();
}

// One that has not turned when the time is up turns later.
vk_error Session::open_serving_line(const Deadline& deadline, bool& refused) {
  ModuleLine* line = nullptr;
  vk_error error = connect(Role::kTurning, deadline, line);
  if (error != VK_EOK) return error;
  error = open_for_serving(line->line, descriptor_, deadline, refused);
  if (error == VK_EOK) {
    turn(*line);
  } else if (refused || error != VK_ETIMEDOUT) {
    remove(*line);
  }
  return error;
}

void Session::give_back(ModuleLine& line) {
  line.busy = false;
  if (!line.line.is_open()) return remove(line);
  line.line.expect(line.role == Role::kServing ? Message::kRequest : Message::kResponse);
}

void Session::wait() {
  nfds_t count = 0;
  for (const ModuleLine* line = first_.get(); line != nullptr; line = line->next.get()) {
    if (is_polled(*line)) polled_[count++] = {line->line.fd(), POLLIN, 0};
  }
  if (poll(polled_.data(), count, -1) <= 0) return;
  count = 0;
  for (ModuleLine* line = first_.get(); line != nullptr; line = line->next.get()) {
    if (is_polled(*line) && polled_[count++].revents != 0) line->ready = true;
  }
}

// What a calling line has read whole waits for its user.
bool Session::is_polled(const ModuleLine& line) const {
  return line.role == Role::kCalling ? line.busy && line.line.is_pending()
                                     : !line.busy && line.line.is_open();
}

void Session::mark_ready(uint64_t identity) {
  ModuleLine* line = first_.get();
  while (line != nullptr && line->identity != identity) line = line->next.get();
  if (line != nullptr) line->ready = true;
}

ModuleLine* Session::next_request() {
  for (ModuleLine* line = first_.get(); line != nullptr;) {
    ModuleLine* const next = line->next.get();
    if (line->ready && is_polled(*line)) {
      line->ready = false;
      if (look_at(*line)) return line;
      if (!open_) return nullptr;
    }
    line = next;
  }
  return nullptr;
}

// Whether the line has a request. It may be gone otherwise, or the whole session.
bool Session::look_at(ModuleLine& line) {
  if (line.role == Role::kMain) {
    if (!line.line.is_quiet()) close();
    return false;
  }
  Line::Reading reading = line.line.receive();
  if (line.role == Role::kTurning && reading == Line::Reading::kComplete) {
    if (take_response(line.line.message(), nullptr) != VK_EOK) {
      remove(line);
      return false;
    }
    turn(line);
    reading = line.line.receive();
  }
  if (reading == Line::Reading::kLost && !line.busy) remove(line);
  if (reading != Line::Reading::kComplete || line.role != Role::kServing) return false;
  line.busy = true;
  return true;
}

bool Session::has_ready() const {
  const ModuleLine* line = first_.get();
  while (line != nullptr && !(line->ready && is_polled(*line))) line = line->next.get();
  return line != nullptr;
}

bool Session::has_serving_line() const {
  const ModuleLine* line = first_.get();
  while (line != nullptr && line->role != Role::kServing && line->role != Role::kTurning) {
    line = line->next.get();
  }
  return line != nullptr;
}

// Behind the main line, which is the first.
vk_error Session::add(Fd fd, Role role, ModuleLine*& line) {
  Made<ModuleLine> made = make<ModuleLine>(std::move(fd), role);
  if (made == nullptr) return VK_ENOMEM;
  if (role != Role::kCalling) {
    made->identity = poller_.new_identity();
    if (made->line.wait_in(poller_, made->identity) != 0) return VK_ENOMEM;
  }
  ++count_;
  Made<ModuleLine>& link = role == Role::kMain ? first_ : first_->next;
  made->next = std::move(link);
  link = std::move(made);
  line = link.get();
  return VK_EOK;
}

// A core that is there, but whose main line has ended, is another one.
vk_error Session::connect(Role role, const Deadline& deadline, ModuleLine*& line) {
  if (count_ == kMostLines) return VK_EBUSY;
  Fd fd;
  vk_error error = VK_EIO;
  if (first_->line.is_quiet()) error = connect_now(socket_, deadline, -1, fd);
  if (!first_->line.is_quiet()) close();
  if (open_ && error == VK_EOK) return add(std::move(fd), role, line);
  if (open_ && error == VK_ENOMEM) return error;
  return open_ && deadline.passed() ? VK_ETIMEDOUT : VK_EIO;
}

vk_error Session::attach(ModuleLine& line, const Deadline& deadline, bool& refused) {
  return open_as_module(line.line, descriptor_, deadline, limits_, refused);
}

ModuleLine* Session::idle_calling_line() {
  for (ModuleLine* line = first_.get(); line != nullptr;) {
    ModuleLine* const next = line->next.get();
    if (line->role == Role::kCalling && !line->busy) {
      if (!line->line.has_rest() && line->line.is_quiet()) return line;
      remove(*line);
    }
    line = next;
  }
  return nullptr;
}

void Session::turn(ModuleLine& line) {
  line.role = Role::kServing;
  line.line.expect(Message::kRequest);
  line.ready = line.line.has_rest();
}

void Session::remove(const ModuleLine& line) {
  Made<ModuleLine>* link = &first_;
  while (link->get() != &line) link = &(*link)->next;
  *link = std::move((*link)->next);
  --count_;
}

}  // namespace vesk::rt
