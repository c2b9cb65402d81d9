// The model removal on manifests of 10,000, 100,000 and 1,000,000
// components, beside its floor (ManifestFloor.cpp: only what that behaviour
// cannot do without, on the same file). Prints, for each size, the median
// time of each with its spread, their ratio and the peak memory of each;
// every run is a child process of its own, ours and the floor interleaved.
//   manifest_bench [RUNS] [COMPONENTS...]   (default: 5 10000 100000 1000000)
//
// "ours" is the action Remove AI Model as every front runs it
// (Uninstaller::run: the manifest summary, removeManifestComponents for the
// group "model" with its fallback, and the report appended to the log),
// through the real Linux platform in a throwaway home.
//
// Of every five components two belong to the group "model" (inside the app's
// folder, at two depths, absent: each is checked and logged) and three to
// other groups (a folder outside the app's, an external engine, the runtime
// bundled with the app), which the removal passes over. Nothing exists on
// disk, so nothing is moved. Both sides must leave logs of the same size, or
// the comparison is void.
#include "BenchRuns.h"
#include "ManifestFloor.h"

#include "actions/Actions.h"
#include "platform/linux/LinuxPlatform.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

std::string component(long i, const std::string& support) {
  static const char* const kGroups[] = {"model", "app-data", "speech-engine", "app", "model"};
  const int kind = int(i % 5);
  const std::string n = std::to_string(i);
  const std::string bucket = std::to_string(i % 97);
  std::string path;
  if (kind == 0) path = support + "/Models/" + bucket + "/m" + n + ".bin";
  if (kind == 1) path = "/opt/elsewhere/" + std::to_string(i % 13) + "/f" + n;
  if (kind == 2) path = "/opt/homebrew/Cellar/e" + n;
  if (kind == 3) path = "/Applications/Talvoren.app/Contents/Resources/r" + n;
  if (kind == 4) path = support + "/Models/" + bucket + "/parts/m" + n + ".part";
  return "{\"id\":\"c" + n + "\",\"kind\":\"" + (kind == 3 ? "bundled-runtime" : "file") + "\",\"path\":\"" + path +
         "\",\"status\":\"installed\",\"source\":\"installer\",\"installedByTalvoren\":true,\"removalGroup\":\"" +
         kGroups[kind] + "\",\"details\":{\"size\":\"" + n + "\"}}";
}

std::string supportOf(const std::string& home) { return home + "/Library/Application Support/Talvoren"; }
std::string logOf(const std::string& home) { return home + "/Library/Logs/Talvoren-Uninstaller.log"; }

void writeManifest(const std::string& home, long count) {
  const std::string support = supportOf(home);
  std::FILE* file = std::fopen((support + "/install-manifest.json").c_str(), "w");
  if (file == nullptr) std::exit(1);
  std::fputs("{\"components\":[", file);
  for (long i = 0; i < count; ++i) {
    if (i > 0) std::fputc(',', file);
    std::fputs(component(i, support).c_str(), file);
  }
  std::fputs("]}", file);
  if (std::fclose(file) != 0) std::exit(1);
}

long long fileSize(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 ? info.st_size : -1;
}

// In a child: one run; its note is "<report lines> <log bytes>".
int measure(const std::string& mode) {
  const std::string home = std::getenv("HOME");
  fs::remove(logOf(home));
  long lines = 0;
  bench::Times start{};
  if (mode == "--ours") {
    LinuxPlatform platform;
    Uninstaller app(platform);
    start = bench::startTimes();
    lines = long(app.run(definitionOf(Action::RemoveModel)).lines.size());
  } else {
    start = bench::startTimes();
    lines = runManifestFloor(home);
  }
  bench::printTimes(start, std::to_string(lines) + " " + std::to_string(fileSize(logOf(home))));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && argv[1][0] == '-') return measure(argv[1]);
  const int runs = argc > 1 ? std::atoi(argv[1]) : 5;
  std::vector<long> sizes;
  for (int i = 2; i < argc; ++i) sizes.push_back(std::atol(argv[i]));
  if (sizes.empty()) sizes = {10000, 100000, 1000000};

  char folder[] = "/tmp/manifest-bench-XXXXXX";
  if (::mkdtemp(folder) == nullptr) return 1;
  const std::string home = folder;
  ::setenv("HOME", home.c_str(), 1);
  ::setenv("XDG_DATA_HOME", (home + "/.local/share").c_str(), 1);
  fs::create_directories(supportOf(home));
  fs::create_directories(home + "/Library/Logs");

  const std::string self = bench::selfPath();
  std::printf("Remove AI Model: summary, removal of the group \"model\" (2 in 5 components) and the log, %d runs each\n",
              runs);
  for (const long count : sizes) {
    writeManifest(home, count);
    const double fileMiB = double(fileSize(supportOf(home) + "/install-manifest.json")) / (1 << 20);
    std::printf("%ld components, %.1f MiB:\n", count, fileMiB);
    std::vector<std::vector<bench::Sample>> samples;
    const std::vector<bench::Figures> figures = bench::interleave(
        runs, {[&] { return bench::runChild({self, "--ours"}, true); }, [&] { return bench::runChild({self, "--floor"}, true); }},
        &samples);
    for (size_t run = 0; run < samples[0].size(); ++run)
      if (samples[0][run].note != samples[1][run].note) {
        std::printf("  the logs differ (report lines, log bytes): ours %s, floor %s\n", samples[0][run].note.c_str(),
                    samples[1][run].note.c_str());
        fs::remove_all(home);
        return 1;
      }
    std::printf("  ours  %-44s peak %6.1f MiB (limit: file + 150 = %.0f MiB)\n", bench::timeText(figures[0]).c_str(),
                figures[0].peakMiB, fileMiB + 150);
    std::printf("  floor %-44s peak %6.1f MiB\n", bench::timeText(figures[1]).c_str(), figures[1].peakMiB);
    std::printf("  ratio %.2f, cpu %.2f  (report lines, log bytes: %s)\n", figures[0].ms.median / figures[1].ms.median,
                figures[0].cpuMs.median / figures[1].cpuMs.median, samples[0][0].note.c_str());
    std::fflush(stdout);
  }
  fs::remove_all(home);
  return 0;
}
