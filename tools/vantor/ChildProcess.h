// A child process joined to us by pipes, for the commands that talk
// JSON-RPC to a program over its standard input and output.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace vantor {

struct ChildProcess {
  pid_t pid = -1;
  int stdinFd = -1;   // our end of the child's standard input (we write)
  int stdoutFd = -1;  // our end of the child's standard output (we read)
  int stderrFd = -1;  // our end of the child's standard error, -1 when inherited
};

/// Starts `program` with `argv` (argv[0] included) and pipes on its standard
/// input and output, and on its standard error when `captureStandardError`
/// (otherwise it shares ours). Our pipe ends are close-on-exec, so later
/// children do not hold them open. Absent, with `reason` set, when the pipes
/// or the process cannot be made.
std::optional<ChildProcess> spawnWithPipes(const std::string& program,
                                           const std::vector<std::string>& argv,
                                           bool captureStandardError, std::string* reason);

/// Waits up to `seconds` for `pid` to end, then kills it (SIGKILL) and
/// waits for that. The exit status (0-255), or 128 + signal number for a
/// child ended by a signal.
int reapChild(pid_t pid, double seconds);

}  // namespace vantor
