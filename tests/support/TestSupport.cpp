#include "support/TestSupport.h"

#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace lx::test {
namespace {
std::filesystem::path& home() {
  static std::filesystem::path path;
  return path;
}
}  // namespace

void installTemporaryHome() {
  std::string pattern = (std::filesystem::temp_directory_path() / "vantor-test-XXXXXX").string();
  if (!mkdtemp(pattern.data())) std::abort();
  home() = pattern;
  const auto sub = [](const char* name) {
    auto p = home() / name;
    std::filesystem::create_directories(p);
    return p.string();
  };
  setenv("HOME", home().c_str(), 1);
  setenv("XDG_CONFIG_HOME", sub(".config").c_str(), 1);
  setenv("XDG_DATA_HOME", sub(".local/share").c_str(), 1);
  setenv("XDG_CACHE_HOME", sub(".cache").c_str(), 1);
  setenv("XDG_STATE_HOME", sub(".local/state").c_str(), 1);
  setenv("TMPDIR", sub("tmp").c_str(), 1);
  std::atexit([] {
    std::error_code ec;
    std::filesystem::remove_all(home(), ec);
  });
}

const std::filesystem::path& temporaryHome() { return home(); }

std::filesystem::path makeTemporaryFolder(const std::string& hint) {
  static std::atomic<int> counter{0};
  auto p = home() / "work" / (hint + "-" + std::to_string(counter++));
  std::filesystem::create_directories(p);
  return p;
}

void writeFile(const std::filesystem::path& path, std::string_view contents) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(contents.data(), static_cast<std::streamsize>(contents.size()));
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

std::optional<std::string> runPython(const std::string& program, std::string_view input) {
  const auto folder = makeTemporaryFolder("python");
  writeFile(folder / "program.py", program);
  writeFile(folder / "input", input);
  const std::string command = "python3 '" + (folder / "program.py").string() + "' < '" +
                              (folder / "input").string() + "' > '" + (folder / "output").string() +
                              "'";
  const int status = std::system(command.c_str());
  std::optional<std::string> output;
  if (status == 0) output = readFile(folder / "output");
  std::filesystem::remove_all(folder);
  return output;
}

ShellResult runShell(const std::string& command) {
  ShellResult result;
  FILE* shell = ::popen((command + " 2>&1").c_str(), "r");
  if (!shell) return result;
  char buffer[4096];
  while (const std::size_t got = std::fread(buffer, 1, sizeof buffer, shell)) {
    result.output.append(buffer, got);
  }
  const int status = ::pclose(shell);
  if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result.status = 128 + WTERMSIG(status);
  return result;
}

}  // namespace lx::test
