#include "platform/linux/LinuxPlatform.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QProcess>
#include <QStringDecoder>
#include <QThread>
#include <QTimer>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr std::int32_t kCouldNotStart = 127;

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

}  // namespace

CommandResult LinuxPlatform::runProcess(const QString& program, const QStringList& arguments, CommandEffect) {
  // Both streams go into one pipe of our own, so they arrive in the order they
  // were written. QProcess would stop reading when the program exits; a child
  // it left running may still write, and the output ends only when the last
  // holder of the pipe closes it.
  int pipeEnds[2];
  if (::pipe2(pipeEnds, O_CLOEXEC) != 0) return {kCouldNotStart, QString::fromLocal8Bit(std::strerror(errno))};
  const int readEnd = pipeEnds[0];
  const int writeEnd = pipeEnds[1];

  QProcess process;
  process.setProgram(program);
  process.setArguments(arguments);
  // Standard input, environment and working folder are inherited.
  process.setProcessChannelMode(QProcess::ForwardedChannels);
  process.setInputChannelMode(QProcess::ForwardedInputChannel);
  // Runs in the child just before exec: only async-signal-safe calls.
  // A write end that already is descriptor 1 or 2 (ours were closed) only
  // needs to survive the exec.
  process.setChildProcessModifier([writeEnd] {
    for (const int target : {STDOUT_FILENO, STDERR_FILENO}) {
      if (writeEnd == target) {
        ::fcntl(target, F_SETFD, 0);
      } else {
        ::dup2(writeEnd, target);
      }
    }
  });
  process.start(QIODevice::ReadOnly);
  // From here on only the program and what it starts hold the write end.
  ::close(writeEnd);
  if (!process.waitForStarted(-1)) {
    ::close(readEnd);
    return {kCouldNotStart, process.errorString()};
  }

  const QByteArray output = readToEndOfFile(readEnd);
  ::close(readEnd);
  process.waitForFinished(-1);
  // A crashed program's exit code is the number of the signal that ended it.
  return {static_cast<std::int32_t>(process.exitCode()), decodeStrictUtf8(output)};
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
