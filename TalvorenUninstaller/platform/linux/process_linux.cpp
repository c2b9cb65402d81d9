#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/NativePath.h"
#include "platform/linux/UniqueFd.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QStringDecoder>
#include <QThread>
#include <QTimer>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

constexpr std::int32_t kCouldNotStart = 127;

CommandResult couldNotStart(const QString& program, const QString& reason) {
  return {kCouldNotStart, QStringLiteral("The program %1 could not be started: %2.").arg(program, reason)};
}

QString errorText(int error) { return QString::fromLocal8Bit(std::strerror(error)); }

// Output that is not valid UTF-8 is not shown at all rather than shown garbled.
QString decodeStrictUtf8(const QByteArray& bytes) {
  QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
  QString text = decoder.decode(bytes);
  return decoder.hasError() ? QString() : text;
}

// Blocks until every holder of the pipe's write end has closed it.
QByteArray readToEndOfFile(int fd) {
  QByteArray bytes;
  char buffer[65536];
  for (;;) {
    const ssize_t got = ::read(fd, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return bytes;
    bytes.append(buffer, got);
  }
}

// Starts the program at the native path `program` itself (no search) with
// `arguments`, both its output streams going to `output`, and standard input,
// environment and working folder inherited; 0, or the errno of the failed
// start, the exec's own included.
int spawn(const QByteArray& program, const QStringList& arguments, int output, pid_t& pid) {
  QByteArrayList strings{program};
  for (const QString& argument : arguments) strings.append(argument.toLocal8Bit());
  std::vector<char*> argv;
  for (QByteArray& string : strings) argv.push_back(string.data());
  argv.push_back(nullptr);

  // A write end that already is descriptor 1 or 2 (ours were closed) is kept
  // open across the exec by its dup2 onto itself.
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
  // The program starts with no signal blocked and the usual answer to a
  // closed pipe, whatever this thread holds back or ignores.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  sigaddset(&signals, SIGPIPE);
  sigaddset(&signals, SIGXFSZ);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  const int error = ::posix_spawn(&pid, program.constData(), &actions, &attributes, argv.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

// The termination status: the exit code, or the number of the signal that
// ended the program.
std::int32_t waitForExit(pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0)
    if (errno != EINTR) return kCouldNotStart;
  return WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

// The program is taken exactly as given: a name or a relative path would be
// looked up (along PATH, or from the working folder) and might start another
// program than the one meant, so only an absolute path is started.
CommandResult LinuxPlatform::runProcess(const QString& program, const QStringList& arguments, CommandEffect) {
  if (!program.startsWith(QLatin1Char('/'))) return couldNotStart(program, QStringLiteral("not an absolute path"));
  const std::optional<QByteArray> native = encodeNativePath(program);
  if (!native) return couldNotStart(program, errorText(ENOENT));

  // Both streams go into one pipe of our own, so they arrive in the order they
  // were written, and the output ends only when the last holder of the pipe
  // closes it: a child the program left running may still write.
  int pipeEnds[2];
  if (::pipe2(pipeEnds, O_CLOEXEC) != 0) return couldNotStart(program, errorText(errno));
  const UniqueFd readEnd(pipeEnds[0]);
  UniqueFd writeEnd(pipeEnds[1]);
  pid_t pid = 0;
  const int error = spawn(*native, arguments, writeEnd.get(), pid);
  // From here on only the program and what it starts hold the write end.
  writeEnd.reset();
  if (error != 0) return couldNotStart(program, errorText(error));

  const QByteArray output = readToEndOfFile(readEnd.get());
  return {waitForExit(pid), decodeStrictUtf8(output)};
}

QDateTime LinuxPlatform::currentTime() { return QDateTime::currentDateTimeUtc(); }

void LinuxPlatform::runEventLoop(double seconds) {
  const std::chrono::milliseconds duration(std::llround(seconds * 1000.0));
  const QDeadlineTimer deadline(duration, Qt::PreciseTimer);
  QEventLoop loop;
  // A precise timer never fires early, so the loop ends early only when the
  // application has been asked to quit. From then on every event loop returns
  // at once, and a caller that polls would spin: the rest of the wait is
  // slept instead.
  QTimer::singleShot(duration, Qt::PreciseTimer, &loop, &QEventLoop::quit);
  loop.exec();
  const qint64 rest = deadline.remainingTime();
  if (rest > 0) QThread::msleep(static_cast<unsigned long>(rest));
}
