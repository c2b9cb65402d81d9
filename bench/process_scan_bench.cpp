// The scan for running instances of the dictation app among 10,000
// processes: ours (LinuxPlatform::runningApplications) beside the floor
// (ProcessScanFloor.cpp), each run in a child process of its own,
// interleaved.
//   process_scan_bench [RUNS] [PROCESSES]   (default: 5 10000)
//
// The benchmark starts the processes itself and ends them afterwards: 10 of
// an app bundle with the dictation app's identifier, 90 of another bundle,
// and the rest sleeping copies of this program. As root it does so in a PID
// namespace of its own with a /proc to match (in a mount namespace of its
// own), so that the scan sees these processes and nothing of the machine;
// otherwise the scan also sees the user's other processes. Both sides must
// find the same 10 instances.
#include "BenchRuns.h"
#include "ProcessScanFloor.h"

#include "platform/linux/LinuxPlatform.h"

#include <QString>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr char kIdentifier[] = "com.quvex.Talvoren.direct";
constexpr int kInstances = 10;
constexpr int kOthers = 90;

// A bundle whose executable is a copy of sleep(1).
std::string makeBundle(const std::string& folder, const std::string& name, const std::string& identifier) {
  const std::string contents = folder + "/" + name + ".app/Contents";
  fs::create_directories(contents + "/MacOS");
  std::ofstream(contents + "/Info.plist")
      << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
      << "<key>CFBundleName</key><string>" << name << "</string>"
      << "<key>CFBundleIdentifier</key><string>" << identifier << "</string></dict></plist>\n";
  const std::string executable = contents + "/MacOS/" + name;
  fs::copy_file("/bin/sleep", executable, fs::copy_options::overwrite_existing);
  return executable;
}

// Starts the processes; each ends with this one (PR_SET_PDEATHSIG) or with
// the namespace.
void startProcesses(const std::string& folder, int count) {
  const std::string talvoren = makeBundle(folder, "Talvoren", kIdentifier);
  const std::string other = makeBundle(folder, "Other", "org.example.Other");
  const pid_t parent = ::getpid();
  for (int i = 0; i < count; ++i) {
    const pid_t child = ::fork();
    if (child < 0) {
      std::perror("fork");
      std::exit(1);
    }
    if (child > 0) continue;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(0);
    if (i < kInstances + kOthers) {
      const std::string& executable = i < kInstances ? talvoren : other;
      ::execl(executable.c_str(), executable.c_str(), "100000", static_cast<char*>(nullptr));
      ::_exit(127);
    }
    for (;;) ::pause();
  }
}

// In a child: one scan; its note is the number of instances found.
int measure(const std::string& mode) {
  size_t found = 0;
  bench::Times start{};
  if (mode == "--ours") {
    LinuxPlatform platform;
    const QString identifier = QString::fromLatin1(kIdentifier);
    start = bench::startTimes();
    found = platform.runningApplications(identifier).size();
  } else {
    start = bench::startTimes();
    found = scanProcessesFloor(kIdentifier);
  }
  bench::printTimes(start, std::to_string(found));
  return 0;
}

int compare(int runs, int count) {
  char folder[] = "/tmp/scan-bench-XXXXXX";
  if (::mkdtemp(folder) == nullptr) return 1;
  // Starting ten thousand processes lifts the load average itself.
  std::printf("load before starting the processes: %s\n", bench::loadAverage().c_str());
  startProcesses(folder, count);
  ::sleep(1);  // until every exec has happened
  const std::string self = bench::selfPath();
  std::printf("Scanning %d processes for the app's instances (%d of them), %d runs each\n", count, kInstances, runs);
  std::vector<std::vector<bench::Sample>> samples;
  const std::vector<bench::Figures> figures =
      bench::interleave(runs,
                        {[&] { return bench::runChild({self, "--ours"}, true); },
                         [&] { return bench::runChild({self, "--floor"}, true); }},
                        &samples);
  int status = 0;
  for (const auto& runsOfOne : samples)
    for (const bench::Sample& sample : runsOfOne)
      if (sample.note != std::to_string(kInstances)) {
        std::printf("  a scan found %s instances, not %d\n", sample.note.c_str(), kInstances);
        status = 1;
      }
  std::printf("  ours  %-44s peak %5.1f MiB\n", bench::timeText(figures[0]).c_str(), figures[0].peakMiB);
  std::printf("  floor %-44s peak %5.1f MiB\n", bench::timeText(figures[1]).c_str(), figures[1].peakMiB);
  std::printf("  ratio %.2f, cpu %.2f\n", figures[0].ms.median / figures[1].ms.median,
              figures[0].cpuMs.median / figures[1].cpuMs.median);
  fs::remove_all(folder);
  return status;
}

// As root: the comparison as the first process of a PID namespace with a
// /proc of its own; every process it started ends with it.
int compareInNamespace(int runs, int count) {
  if (::unshare(CLONE_NEWPID | CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    std::perror("namespace");
    return 1;
  }
  const pid_t first = ::fork();
  if (first == 0) {
    if (::mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0) {
      std::perror("mount /proc");
      ::_exit(1);
    }
    const int status = compare(runs, count);
    std::fflush(stdout);
    ::_exit(status);
  }
  int status = 0;
  return ::waitpid(first, &status, 0) == first && WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && argv[1][0] == '-') return measure(argv[1]);
  const int runs = argc > 1 ? std::atoi(argv[1]) : 5;
  const int count = argc > 2 ? std::atoi(argv[2]) : 10000;
  if (count < kInstances + kOthers) return 1;
  return ::getuid() == 0 ? compareInNamespace(runs, count) : compare(runs, count);
}
