#include "ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

extern char** environ;

namespace vantor {

namespace {

struct Pipe {
  int read = -1;
  int write = -1;
};

void closeAll(std::initializer_list<int> fds) {
  for (const int fd : fds) {
    if (fd >= 0) ::close(fd);
  }
}

}  // namespace

std::optional<ChildProcess> spawnWithPipes(const std::string& program,
                                           const std::vector<std::string>& argv,
                                           bool captureStandardError, std::string* reason) {
  // Every end is close-on-exec; dup2 onto 0, 1, 2 in the child clears the
  // flag on the copies it keeps, so the child holds no stray ends that would
  // keep our reads from ever seeing end of file.
  Pipe in, out, err;
  const auto makePipe = [](Pipe& p) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) return false;
    p = {fds[0], fds[1]};
    return true;
  };
  if (!makePipe(in) || !makePipe(out) || (captureStandardError && !makePipe(err))) {
    if (reason) *reason = std::string("cannot make a pipe: ") + std::strerror(errno);
    closeAll({in.read, in.write, out.read, out.write, err.read, err.write});
    return std::nullopt;
  }

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in.read, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out.write, STDOUT_FILENO);
  if (captureStandardError) posix_spawn_file_actions_adddup2(&actions, err.write, STDERR_FILENO);

  std::vector<char*> args;
  args.reserve(argv.size() + 1);
  for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);

  pid_t pid = -1;
  const int rc = ::posix_spawn(&pid, program.c_str(), &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  closeAll({in.read, out.write, err.write});
  if (rc != 0) {
    if (reason) *reason = "cannot start " + program + ": " + std::strerror(rc);
    closeAll({in.write, out.read, err.read});
    return std::nullopt;
  }
  return ChildProcess{pid, in.write, out.read, err.read};
}

int reapChild(pid_t pid, double seconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  int status = 0;
  for (;;) {
    const pid_t r = ::waitpid(pid, &status, WNOHANG);
    if (r == pid) break;
    if (r < 0 && errno != EINTR) return 255;
    if (std::chrono::steady_clock::now() >= deadline) {
      ::kill(pid, SIGKILL);
      while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
      }
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return 255;
}

}  // namespace vantor
