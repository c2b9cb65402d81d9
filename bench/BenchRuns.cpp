#include "BenchRuns.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace bench {

namespace {

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  std::exit(1);
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

}  // namespace

double clockMs(clockid_t clock) {
  timespec now{};
  ::clock_gettime(clock, &now);
  return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

double millisecondsOf(const timeval& time) { return double(time.tv_sec) * 1e3 + double(time.tv_usec) / 1e3; }

Spread spreadOf(std::vector<double> values) {
  return {median(values), *std::min_element(values.begin(), values.end()),
          *std::max_element(values.begin(), values.end())};
}

Times startTimes() { return {clockMs(CLOCK_MONOTONIC), clockMs(CLOCK_PROCESS_CPUTIME_ID)}; }

void printTimes(const Times& start, const std::string& note) {
  std::printf("%.3f %.3f %s\n", clockMs(CLOCK_MONOTONIC) - start.wallMs, clockMs(CLOCK_PROCESS_CPUTIME_ID) - start.cpuMs,
              note.c_str());
}

std::string selfPath() {
  char path[4096];
  const ssize_t length = ::readlink("/proc/self/exe", path, sizeof path - 1);
  if (length <= 0) fail("cannot find this benchmark's own executable");
  return std::string(path, size_t(length));
}

std::string loadAverage() {
  std::ifstream file("/proc/loadavg");
  std::string one, five, fifteen;
  file >> one >> five >> fifteen;
  return one + " " + five + " " + fifteen;
}

Sample runChild(const std::vector<std::string>& argv, bool timesItself) {
  int out[2];
  if (::pipe(out) != 0) fail("pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, out[0]);
  std::vector<char*> arguments;
  for (const std::string& argument : argv) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);

  const double start = clockMs(CLOCK_MONOTONIC);
  pid_t child = 0;
  if (posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ) != 0) fail("cannot start " + argv[0]);
  posix_spawn_file_actions_destroy(&actions);
  ::close(out[1]);
  std::string output;
  char buffer[4096];
  for (ssize_t got; (got = ::read(out[0], buffer, sizeof buffer)) != 0;)
    if (got > 0) output.append(buffer, size_t(got));
  ::close(out[0]);
  int status = 0;
  rusage usage{};
  if (::wait4(child, &status, 0, &usage) != child) fail("wait4");
  const double wall = clockMs(CLOCK_MONOTONIC) - start;
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) fail(argv[0] + " " + argv.at(1) + " failed: " + output);

  while (!output.empty() && output.back() == '\n') output.pop_back();
  const std::string last = output.substr(output.rfind('\n') == std::string::npos ? 0 : output.rfind('\n') + 1);
  Sample sample{wall, millisecondsOf(usage.ru_utime) + millisecondsOf(usage.ru_stime), double(usage.ru_maxrss) / 1024.0,
                last};
  if (timesItself) {
    char* afterWall = nullptr;
    char* afterCpu = nullptr;
    sample.ms = std::strtod(last.c_str(), &afterWall);
    sample.cpuMs = std::strtod(afterWall, &afterCpu);
    if (afterCpu == afterWall) fail(argv[0] + " " + argv.at(1) + " reported no times: " + output);
    sample.note = std::string(afterCpu + (*afterCpu == ' ' ? 1 : 0));
  }
  return sample;
}

std::vector<Figures> interleave(int runs, const std::vector<std::function<Sample()>>& variants,
                                std::vector<std::vector<Sample>>* samples) {
  std::vector<std::vector<Sample>> taken(variants.size());
  std::printf("  load before: %s", loadAverage().c_str());
  std::fflush(stdout);
  for (int run = 0; run < runs; ++run)
    for (size_t variant = 0; variant < variants.size(); ++variant) taken[variant].push_back(variants[variant]());
  std::printf(", after: %s\n", loadAverage().c_str());

  std::vector<Figures> figures;
  for (const std::vector<Sample>& runsOfOne : taken) {
    std::vector<double> times, cpuTimes, peaks;
    for (const Sample& sample : runsOfOne) {
      times.push_back(sample.ms);
      cpuTimes.push_back(sample.cpuMs);
      peaks.push_back(sample.peakMiB);
    }
    figures.push_back({spreadOf(times), spreadOf(cpuTimes), median(peaks)});
  }
  if (samples != nullptr) *samples = std::move(taken);
  return figures;
}

std::string timeText(const Figures& figures, double per) {
  char text[128];
  const Spread& wall = figures.ms;
  const Spread& cpu = figures.cpuMs;
  if (per != 1)
    std::snprintf(text, sizeof text, "%.1f us (%.1f-%.1f), cpu %.1f us (%.1f-%.1f)", 1e3 * wall.median / per,
                  1e3 * wall.min / per, 1e3 * wall.max / per, 1e3 * cpu.median / per, 1e3 * cpu.min / per,
                  1e3 * cpu.max / per);
  else
    std::snprintf(text, sizeof text, "%.0f ms (%.0f-%.0f), cpu %.0f ms (%.0f-%.0f)", wall.median, wall.min, wall.max,
                  cpu.median, cpu.min, cpu.max);
  return text;
}

}  // namespace bench
