// Moving small files into the home Trash, per item: ours beside the floor
// and two common trash tools, each run in a child process of its own,
// interleaved, every run on a fresh throwaway home whose Trash exists.
//   trash_bench [RUNS] [ITEMS] [FOLDER]   (default: 5 1000 /tmp)
//
// FOLDER holds the throwaway homes. On ext4, a file made within minutes of
// many being removed nearby waits while the inode allocator passes over the
// recently freed ones (recently_deleted), which on a machine where others
// build can cost hundreds of microseconds per item and swamp everything
// else; a tmpfs such as /dev/shm shows the work of the move itself.
//
// "ours" is LinuxPlatform::moveToTrash for every item inside one action
// scope, as an action moves them. The floor (TrashFloor.cpp) is what that
// behaviour cannot do without. "gio trash" and "trash-put" are each started
// once with every item as an argument; their figures include their own
// start-up, which is part of what they cost. Ours and the floor time
// themselves from their first item to their last.
#include "BenchRuns.h"
#include "TrashFloor.h"

#include "platform/linux/LinuxPlatform.h"
#if __has_include("platform/ActionScope.h")
#include "platform/ActionScope.h"
#define TALVOREN_HAS_ACTION_SCOPE 1
#endif

#include <QFile>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr int kFirstItemArgument = 2;

std::vector<std::string> itemPaths(const std::string& home, int count) {
  std::vector<std::string> paths;
  for (int i = 0; i < count; ++i) paths.push_back(home + "/items/file-" + std::to_string(i) + ".txt");
  return paths;
}

// A fresh home with the Trash in place and `count` small files to move.
std::string makeHome(const std::string& root, int run, int count) {
  const std::string home = root + "/home-" + std::to_string(run);
  fs::create_directories(home + "/.local/share/Trash/files");
  fs::create_directories(home + "/.local/share/Trash/info");
  fs::permissions(home + "/.local/share/Trash", fs::perms::owner_all);
  fs::create_directories(home + "/items");
  for (const std::string& path : itemPaths(home, count)) std::ofstream(path) << "small file\n";
  return home;
}

void setHome(const std::string& home) {
  ::setenv("HOME", home.c_str(), 1);
  ::setenv("XDG_DATA_HOME", (home + "/.local/share").c_str(), 1);
}

// In a child: moves every item given after the mode, prints "<ms>".
int measure(int argc, char** argv) {
  const std::string mode = argv[1];
  long moved = 0;
  if (mode == "--ours") {
    LinuxPlatform platform;
    std::vector<QString> paths;
    for (int i = kFirstItemArgument; i < argc; ++i) paths.push_back(QFile::decodeName(argv[i]));
    const bench::Times start = bench::startTimes();
    {
#ifdef TALVOREN_HAS_ACTION_SCOPE
      const ActionScope action(platform);
#endif
      for (const QString& path : paths) moved += platform.moveToTrash(path, QStringLiteral("Item")).moved ? 1 : 0;
    }
    bench::printTimes(start, std::to_string(moved));
    return moved == argc - kFirstItemArgument ? 0 : 1;
  }
  const std::vector<std::string> paths(argv + kFirstItemArgument, argv + argc);
  const bench::Times start = bench::startTimes();
  moved = moveToTrashFloor(std::getenv("XDG_DATA_HOME") + std::string("/Trash"), paths);
  bench::printTimes(start, std::to_string(moved));
  return moved == argc - kFirstItemArgument ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && argv[1][0] == '-') return measure(argc, argv);
  const int runs = argc > 1 ? std::atoi(argv[1]) : 5;
  const int count = argc > 2 ? std::atoi(argv[2]) : 1000;
  std::string root = std::string(argc > 3 ? argv[3] : "/tmp") + "/trash-bench-XXXXXX";
  if (::mkdtemp(root.data()) == nullptr) return 1;
  const std::string self = bench::selfPath();

  int run = 0;
  // Each variant moves the items of a home of its own, made before it starts.
  const auto variant = [&](std::vector<std::string> command, bool reportsOwnTime) {
    return [&, command, reportsOwnTime] {
      const std::string home = makeHome(root, run++, count);
      setHome(home);
      std::vector<std::string> argv = command;
      for (const std::string& path : itemPaths(home, count)) argv.push_back(path);
      const bench::Sample sample = bench::runChild(argv, reportsOwnTime);
      if (!fs::is_empty(home + "/items")) {
        std::fprintf(stderr, "%s left items behind\n", command[0].c_str());
        std::exit(1);
      }
      // Homes stay until the end, so that no run removes files just before
      // the next makes some (see FOLDER above).
      return sample;
    };
  };
  std::printf("Moving %d small files into the home Trash in %s, %d runs each\n", count, root.c_str(), runs);
  const std::vector<bench::Figures> figures = bench::interleave(
      runs, {variant({self, "--ours"}, true), variant({self, "--floor"}, true),
             variant({"/usr/bin/gio", "trash"}, false), variant({"/usr/bin/trash-put"}, false)});
  const char* const names[] = {"ours", "floor", "gio trash", "trash-put"};
  for (size_t i = 0; i < figures.size(); ++i)
    std::printf("  %-10s %-50s per item, x%.2f the floor (cpu x%.2f), peak %5.1f MiB\n", names[i],
                bench::timeText(figures[i], count).c_str(), figures[i].ms.median / figures[1].ms.median,
                figures[i].cpuMs.median / figures[1].cpuMs.median, figures[i].peakMiB);
  fs::remove_all(root);
  return 0;
}
