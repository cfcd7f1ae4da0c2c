#include "output/picture.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <string_view>
#include <system_error>

#include "ending/failure.h"
#include "ending/interrupts.h"
#include "files/file_content.h"
#include "files/temporary_directory.h"
#include "words/text.h"

namespace fs = std::filesystem;

namespace {

// The exit status of `gnuplot -d ARGUMENT`, which reads no settings of the user; what it
// complains about goes to the file. No shell is in between.
int runGnuplot(std::string argument, const fs::path& complaints) {
  std::string name = "gnuplot", defaults = "-d";
  std::array<char*, 4> arguments = {name.data(), defaults.data(), argument.data(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, complaints.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  pid_t child = 0;
  const int problem =
      posix_spawnp(&child, name.c_str(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (problem != 0)
    throw Failure(problem == ENOENT
                      ? "gnuplot is missing, install the package gnuplot-nox"
                      : "gnuplot cannot be run: " + std::generic_category().message(problem));
  const AtForcedEnd killing([child] {
    kill(child, SIGKILL);
    return std::string();
  });
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

PictureKind formatOf(const fs::path& file) {
  return file.extension() == ".svg" ? PictureKind::svg : PictureKind::png;
}

// gnuplot does not mind a full disk.
bool isWhole(const fs::path& picture, PictureKind kind) {
  const std::string_view end = kind == PictureKind::svg ? "</svg>" : "IEND\xAE\x42\x60\x82";
  const std::string content = fileContent(picture);
  return std::string_view(content).substr(0, content.find_last_not_of('\n') + 1).ends_with(end);
}

}  // namespace

bool isPictureFile(const fs::path& file) {
  return file.extension() == ".svg" || file.extension() == ".png";
}

void checkGnuplot() {
  if (runGnuplot("--version", "/dev/null") != 0)
    throw Failure("gnuplot cannot be run, install the package gnuplot-nox");
}

Picture::Picture(const fs::path& target) : file(target), content(target) {
  try {
    checkGnuplot();
  } catch (const Failure& lack) {
    throw Failure(std::string("no picture was drawn: ") + lack.what());
  }
}

void Picture::draw(const std::string& title, const std::vector<PlotLine>& lines) {
  const auto fail = [this](const std::string& reason) {
    throw Failure("cannot draw " + file.string() + ": " + printable(reason));
  };
  const TemporaryDirectory directory;
  content.writeWith([&](const fs::path& picture) {
    const fs::path script = directory.path() / "plot.gnuplot";
    const fs::path complaints = directory.path() / "complaints";
    std::ofstream stream(script);
    stream << gnuplotScript(picture, formatOf(file), title, lines);
    stream.close();
    if (!stream) fail(script.string() + " cannot be written: " + std::strerror(errno));
    if (runGnuplot(script.string(), complaints) != 0)
      fail("gnuplot gave up: " + fileContent(complaints));
    if (!isWhole(picture, formatOf(file))) fail("the picture is cut short, is the disk full?");
  });
  content.commit();
}
