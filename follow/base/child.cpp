#include "follow/base/child.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>
#include <utility>

#include "follow/base/text.h"
#include "follow/error.h"

extern char** environ;

namespace remora {
namespace {

constexpr int kSilence = 120;  // seconds
constexpr int kSideDescriptor = 3;
constexpr std::size_t kMostKept = std::size_t{1} << 20;  // bytes that nobody has asked for
constexpr int kPipeBytes = 1 << 20;

std::string reason() { return std::strerror(errno); }

// A pipe whose ends do not collide with the descriptors that the program is to find them at.
struct NewPipe {
  enum class Kind {
    kPipe,
    kSocket  // who writes gets no signal when nobody reads any more
  };

  explicit NewPipe(Kind kind = Kind::kPipe) {
    constexpr int kFirstFree = 10;
    int ends[2];
    const int made = kind == Kind::kPipe ? pipe2(ends, O_CLOEXEC)
                                         : socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends);
    if (made != 0) throw Error("cannot make a pipe: " + reason());
    for (int i = 0; i < 2; ++i) {
      (i == 0 ? from : to) = fcntl(ends[i], F_DUPFD_CLOEXEC, kFirstFree);
      close(ends[i]);
    }
    if (from < 0 || to < 0) {
      const std::string why = reason();
      release();
      throw Error("cannot make a pipe: " + why);
    }
    fcntl(to, F_SETPIPE_SZ, kPipeBytes);  // where that is not allowed, it stays smaller
  }
  ~NewPipe() { release(); }
  NewPipe(const NewPipe&) = delete;
  NewPipe& operator=(const NewPipe&) = delete;

  int takeReader() { return std::exchange(from, -1); }
  int takeWriter() { return std::exchange(to, -1); }

  int from = -1;
  int to = -1;

 private:
  void release() const {
    if (from >= 0) close(from);
    if (to >= 0) close(to);
  }
};

// How a program is started: what it finds at its descriptors, and how it takes signals.
class Start {
 public:
  Start(const NewPipe* input, const NewPipe& output, const NewPipe& side, const NewPipe& errors) {
    posix_spawn_file_actions_init(&files_);
    posix_spawnattr_init(&signals_);
    if (input == nullptr) {
      posix_spawn_file_actions_addopen(&files_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    } else {
      posix_spawn_file_actions_adddup2(&files_, input->from, STDIN_FILENO);
    }
    posix_spawn_file_actions_adddup2(&files_, output.to, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&files_, errors.to, STDERR_FILENO);
    posix_spawn_file_actions_adddup2(&files_, side.to, kSideDescriptor);
    posix_spawn_file_actions_addclosefrom_np(&files_, kSideDescriptor + 1);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&signals_, &none);
    posix_spawnattr_setsigdefault(&signals_, &all);
    posix_spawnattr_setpgroup(&signals_, 0);
    posix_spawnattr_setflags(
        &signals_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  }
  ~Start() {
    posix_spawn_file_actions_destroy(&files_);
    posix_spawnattr_destroy(&signals_);
  }
  Start(const Start&) = delete;
  Start& operator=(const Start&) = delete;

  // 0, or the number of an error.
  int operator()(const std::vector<std::string>& command, pid_t& id) const {
    std::vector<char*> words;
    for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    return posix_spawnp(&id, words[0], &files_, &signals_, words.data(), environ);
  }

 private:
  posix_spawn_file_actions_t files_;
  posix_spawnattr_t signals_;
};

// Without "[part @ 0x55e0c0ffee00] " in front, which is another one each time.
std::string withoutPlace(const std::string& line) {
  const std::size_t end = line.find("] ");
  const bool has_place = line.rfind('[', 0) == 0 && end != std::string::npos;
  return has_place ? line.substr(end + 2) : line;
}

}  // namespace

Child::Child(const std::vector<std::string>& command, const std::string& missing, Input input)
    : program_(command[0]) {
  std::optional<NewPipe> told;
  if (input == Input::kWritten) told.emplace(NewPipe::Kind::kSocket);
  NewPipe output;
  NewPipe side;
  NewPipe errors;
  const int error = Start(told ? &*told : nullptr, output, side, errors)(command, id_);
  if (error != 0) {
    id_ = -1;
    throw Error(error == ENOENT ? missing
                                : "cannot start " + program_ + ": " + std::strerror(error));
  }
  if (told) input_ = told->takeWriter();
  output_.descriptor = output.takeReader();
  side_.descriptor = side.takeReader();
  errors_.descriptor = errors.takeReader();
}

Child::~Child() {
  if (id_ > 0) kill(id_, SIGKILL);
  close();
  while (id_ > 0 && waitpid(id_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

void Child::close() {
  if (input_ >= 0) ::close(input_);
  input_ = -1;
  for (Stream* const stream : {&output_, &side_, &errors_}) {
    if (stream->descriptor >= 0) ::close(stream->descriptor);
    stream->descriptor = -1;
  }
}

void Child::keep(Stream& stream) {
  char block[4096];
  const ssize_t got = ::read(stream.descriptor, block, sizeof block);
  if (got < 0 && (errno == EINTR || errno == EAGAIN)) return;
  if (got <= 0) {
    ::close(stream.descriptor);
    stream.descriptor = -1;
    return;
  }
  const std::size_t room = kMostKept - std::min(kMostKept, stream.waiting.size());
  stream.waiting.append(block, std::min(room, static_cast<std::size_t>(got)));
}

void Child::waitFor(const Stream* wanted) {
  const std::array<Stream*, 3> streams = {&output_, &side_, &errors_};
  std::array<pollfd, 4> polled{};
  for (std::size_t i = 0; i < streams.size(); ++i) {
    // Pictures that nobody has asked for yet stay in the pipe.
    const bool is_asked = streams[i] == wanted || streams[i] != &output_;
    polled[i] = {is_asked ? streams[i]->descriptor : -1, POLLIN, 0};
  }
  polled.back() = {wanted == nullptr ? input_ : -1, POLLOUT, 0};
  const int ready = poll(polled.data(), polled.size(), kSilence * 1000);
  if (ready < 0 && errno != EINTR) throw Error("cannot wait for " + program_ + ": " + reason());
  if (ready == 0) throw Error(format("%s has been silent for %d s", program_.c_str(), kSilence));
  for (std::size_t i = 0; i < streams.size(); ++i) {
    if (ready > 0 && polled[i].revents != 0 && streams[i] != wanted) keep(*streams[i]);
  }
}

std::size_t Child::read(Pipe pipe, void* bytes, std::size_t size) {
  Stream& stream = streamOf(pipe);
  auto* const out = static_cast<char*>(bytes);
  std::size_t done = std::min(size, stream.waiting.size());
  std::copy_n(stream.waiting.begin(), done, out);
  stream.waiting.erase(0, done);
  while (done < size && stream.descriptor >= 0) {
    waitFor(&stream);
    pollfd polled{stream.descriptor, POLLIN, 0};
    if (poll(&polled, 1, 0) <= 0) continue;
    const ssize_t got = ::read(stream.descriptor, out + done, size - done);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

std::string Child::line(Pipe pipe) {
  Stream& stream = streamOf(pipe);
  std::size_t end = stream.waiting.find('\n');
  while (end == std::string::npos && stream.descriptor >= 0 && stream.waiting.size() < kMostKept) {
    waitFor(&stream);
    pollfd polled{stream.descriptor, POLLIN, 0};
    if (poll(&polled, 1, 0) > 0) keep(stream);
    end = stream.waiting.find('\n');
  }
  const std::string line = stream.waiting.substr(0, end);
  stream.waiting.erase(0, end == std::string::npos ? end : end + 1);
  return line;
}

bool Child::write(const void* bytes, std::size_t size) {
  const auto* const in = static_cast<const char*>(bytes);
  std::size_t done = 0;
  while (done < size) {
    waitFor(nullptr);
    const ssize_t sent = send(input_, in + done, size - done, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (sent < 0) return false;
    done += static_cast<std::size_t>(sent);
  }
  return true;
}

bool Child::endsWell() {
  if (input_ >= 0) ::close(input_);
  input_ = -1;
  if (output_.descriptor >= 0) ::close(output_.descriptor);
  output_.descriptor = -1;
  while (errors_.descriptor >= 0) waitFor(&output_);
  int status = 0;
  while (waitpid(id_, &status, 0) < 0 && errno == EINTR) {
  }
  id_ = -1;
  close();
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::string Child::complaint() const {
  return withoutPlace(errors_.waiting.substr(0, errors_.waiting.find('\n')));
}

}  // namespace remora
