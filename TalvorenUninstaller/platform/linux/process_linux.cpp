#include "platform/linux/LinuxPlatform.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QProcess>
#include <QStringDecoder>
#include <QThread>
#include <QTimer>

#include <chrono>
#include <cmath>

namespace {

constexpr std::int32_t kCouldNotStart = 127;

// Output that is not valid UTF-8 is not shown at all rather than shown garbled.
QString decodeStrictUtf8(const QByteArray& bytes) {
  QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
  QString text = decoder.decode(bytes);
  return decoder.hasError() ? QString() : text;
}

}  // namespace

CommandResult LinuxPlatform::runProcess(const QString& program, const QStringList& arguments) {
  QProcess process;
  process.setProgram(program);
  process.setArguments(arguments);
  // Both streams into one pipe, so they arrive in the order they were written;
  // standard input, environment and working folder are inherited.
  process.setProcessChannelMode(QProcess::MergedChannels);
  process.setInputChannelMode(QProcess::ForwardedInputChannel);
  process.start(QIODevice::ReadOnly);
  if (!process.waitForStarted(-1)) return {kCouldNotStart, process.errorString()};

  // Reading while waiting keeps a program with more output than a pipe holds
  // from blocking on a full pipe.
  QByteArray output;
  while (!process.waitForFinished(-1)) {
    if (process.state() == QProcess::NotRunning) break;
  }
  output += process.readAll();
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
