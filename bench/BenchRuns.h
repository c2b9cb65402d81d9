#pragma once

// What the benchmarks here share. Every measurement runs in a child process
// of its own, so that its peak memory is its own and one variant's pages do
// not hide the next one's. The variants of one size run interleaved (ours,
// floor, a peer, ours, floor, a peer, ...), so that a change in the load of
// this shared machine falls on all of them alike; each figure is the median
// of the runs, printed with its spread (min-max) and the load beside it.

#include <functional>
#include <string>
#include <vector>

namespace bench {

// One run: its wall time, the processor time it used (user and system; on a
// machine shared with other jobs the steadier of the two), the peak resident
// memory of the child (VmHWM, as the kernel accounts it for a child that has
// been waited for), and whatever else the child printed on its last line.
struct Sample {
  double ms = 0;
  double cpuMs = 0;
  double peakMiB = 0;
  std::string note;
};

// Runs `argv` (a path, no search) to its end, its standard output captured.
// A child that times itself prints its times as the first two words of its
// last line (see printTimes); for any other child they are those of the
// whole process, start to exit. Exits the benchmark when the child fails.
Sample runChild(const std::vector<std::string>& argv, bool timesItself);

// For a child that times itself: the times since `start` (from startTimes()),
// then `note`, as the last line of its output.
struct Times {
  double wallMs;
  double cpuMs;
};
Times startTimes();
void printTimes(const Times& start, const std::string& note);

// The path of this benchmark's executable, to run a measurement of its own in
// a child.
std::string selfPath();

// The three load averages, as /proc/loadavg gives them.
std::string loadAverage();

struct Spread {
  double median = 0;
  double min = 0;
  double max = 0;
};

struct Figures {
  Spread ms;
  Spread cpuMs;
  double peakMiB = 0;  // the median of the runs' peaks
};

// `runs` rounds, each running every variant once in turn; the figures of each
// variant in the order given. The load is printed before and after.
std::vector<Figures> interleave(int runs, const std::vector<std::function<Sample()>>& variants,
                                std::vector<std::vector<Sample>>* samples = nullptr);

// "123 ms (118-131), cpu 95 ms (93-99)", or per unit of `per` units, in
// microseconds.
std::string timeText(const Figures& figures, double per = 1);

}  // namespace bench
