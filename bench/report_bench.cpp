// Shows reports of growing size the way an action does and prints how long
// each part takes: the status text alone, the completion dialog alone, and the
// whole runner from the plan's return (logging every line included) until
// both are on screen and painted; also the dialog's size against the screen.
// Then the part of both views that grows with the report, counting the rows
// of every line, beside a peer on the same lines: Qt's search for a line feed
// in each, the least that finding the lines that break takes.
//   report_bench [SIZE...]   SIZE: a number of lines, or "1MB" for one line of
//                            a megabyte (default: 20 100000 1000000 1MB)
#include "app/UninstallerApp.h"
#include "platform/linux/LinuxDesktop.h"
#include "widgets/ReportRows.h"
#include "widgets/ReportView.h"
#include "platform/linux/LinuxPlatform.h"

#include <QApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QScreen>
#include <QTemporaryDir>

#include <cstdio>

namespace {

QDialog* visibleDialog() {
  for (QWidget* widget : QApplication::topLevelWidgets())
    if (auto* dialog = qobject_cast<QDialog*>(widget); dialog && dialog->isVisible()) return dialog;
  return nullptr;
}

// Rendering forces every layout that painting on screen needs.
QDialog* paintedDialog() {
  QDialog* dialog = nullptr;
  while (!(dialog = visibleDialog())) QApplication::processEvents(QEventLoop::WaitForMoreEvents);
  dialog->grab();
  return dialog;
}

void dismiss(QDialog* dialog) {
  dialog->done(0);
  QApplication::processEvents();
}

void show(const QString& name, UninstallerApp& app, const QStringList& lines) {
  const QString text = lines.join(QLatin1Char('\n'));
  QElapsedTimer timer;
  timer.start();
  app.statusView->setLines(lines);
  app.window->grab();
  const qint64 statusMs = timer.restart();

  app.desktop().showCompletion(app.window.get(), false, QStringLiteral("Done"), lines, QStringLiteral("OK"));
  QDialog* dialog = paintedDialog();
  const qint64 dialogMs = timer.elapsed();
  const QSize size = dialog->size();
  const QSize screen = dialog->screen()->availableGeometry().size();
  dismiss(dialog);

  app.runAction([&] {
    Report report;
    report.lines = lines;
    timer.start();
    return report;
  });
  dialog = paintedDialog();
  app.window->grab();
  const qint64 runnerMs = timer.elapsed();
  dismiss(dialog);

  std::printf("%-16s %10lld characters  status text %6lld ms  dialog %6lld ms  whole runner %6lld ms  "
              "dialog %d x %d on a %d x %d screen\n",
              qPrintable(name), static_cast<long long>(text.size()), static_cast<long long>(statusMs),
              static_cast<long long>(dialogMs), static_cast<long long>(runnerMs), size.width(), size.height(),
              screen.width(), screen.height());
  std::fflush(stdout);
}

// The columns of the status text, where the bench's lines wrap once.
constexpr qsizetype kColumns = 76;

template <typename Count>
qint64 timeCount(const QStringList& lines, Count count, qsizetype& total) {
  QElapsedTimer timer;
  timer.start();
  total = 0;
  for (const QString& line : lines) total += count(line);
  return timer.elapsed();
}

void countRowsFigures(const QString& name, const QStringList& lines) {
  qsizetype rows = 0, feeds = 0;
  const qint64 countMs = timeCount(lines, [](const QString& line) { return countRows(line, kColumns); }, rows);
  const qint64 feedMs =
      timeCount(lines, [](const QString& line) { return qsizetype(line.contains(QLatin1Char('\n'))); }, feeds);
  std::printf("%-16s counting %lld rows at %lld columns %6lld ms  peer: a line feed search %6lld ms "
              "(%lld found)\n",
              qPrintable(name), static_cast<long long>(rows), static_cast<long long>(kColumns),
              static_cast<long long>(countMs), static_cast<long long>(feedMs), static_cast<long long>(feeds));
  std::fflush(stdout);
}

QStringList report(const QString& size) {
  if (size == QStringLiteral("1MB")) return {QStringLiteral("[OK] ") + QString(1 << 20, QLatin1Char('x'))};
  QStringList lines;
  for (int i = 0; i < size.toInt(); ++i)
    lines << QStringLiteral("[Skipped] AI model file: not found (/Users/someone/Library/Application Support/"
                            "Talvoren/Models/m%1.bin)")
                 .arg(i);
  return lines;
}

}  // namespace

int main(int argc, char** argv) {
  QTemporaryDir home;
  if (!home.isValid()) return 1;
  qputenv("HOME", QFile::encodeName(home.path()));
  qputenv("XDG_DATA_HOME", QFile::encodeName(home.path() + QStringLiteral("/.local/share")));
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);

  LinuxPlatform platform;
  LinuxDesktop desktop(platform);
  UninstallerApp app(platform, desktop);
  app.show();
  QStringList sizes = QCoreApplication::arguments().mid(1);
  if (sizes.isEmpty()) sizes = {"20", "100000", "1000000", "1MB"};
  for (const QString& size : sizes) {
    const QString name = size == QStringLiteral("1MB") ? QStringLiteral("one 1 MB line") : size + QStringLiteral(" lines");
    const QStringList lines = report(size);
    show(name, app, lines);
    countRowsFigures(name, lines);
  }
  return 0;
}
