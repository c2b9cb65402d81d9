// Decodes, orders and walks manifests of 1,000, 10,000 and 100,000 components
// in a throwaway home, printing the time of each stage and the peak memory.
//
// The components, one in five of each, take every path the walk has: in the
// app's locations but absent (checked and logged), outside them, external,
// bundled with the app, and duplicates. Nothing exists on disk, so nothing is
// moved.
#include "app/UninstallerApp.h"
#include "platform/linux/LinuxPlatform.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <sys/resource.h>

namespace {

// One component as JSON text, written directly so that building the test
// manifest does not itself inflate the peak memory that is measured.
QByteArray component(int i, const QByteArray& support) {
  static const char* const kGroups[] = {"model", "app-data", "speech-engine", "app", "app-data"};
  const int kind = i % 5;
  const QByteArray n = QByteArray::number(i);
  const QByteArray bucket = QByteArray::number(i % 97);
  QByteArray path;
  if (kind == 0) path = support + "/Models/" + bucket + "/m" + n + ".bin";
  if (kind == 1) path = "/opt/elsewhere/" + QByteArray::number(i % 13) + "/./f" + n;
  if (kind == 2) path = "/opt/homebrew/Cellar/e" + n;
  if (kind == 3) path = "/Applications/Talvoren.app/Contents/Resources/r" + n;
  if (kind == 4) path = support + "/Models/" + bucket + "/../" + bucket + "/m" + QByteArray::number(i - 4) + ".bin";
  return "{\"id\":\"c" + n + "\",\"kind\":\"" + (kind == 3 ? "bundled-runtime" : "file") + "\",\"path\":\"" + path +
         "\",\"status\":\"installed\",\"source\":\"installer\",\"installedByTalvoren\":true,\"removalGroup\":\"" +
         kGroups[kind] + "\",\"details\":{\"size\":\"" + n + "\"}}";
}

double peakMemoryMiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return double(usage.ru_maxrss) / 1024.0;
}

void run(int count, UninstallerApp& app) {
  const QString support = app.install().appSupportPath();
  QByteArray bytes = "{\"components\":[";
  for (int i = 0; i < count; ++i) bytes += (i == 0 ? "" : ",") + component(i, support.toUtf8());
  bytes += "]}";
  QDir().mkpath(support);
  QFile file(app.install().manifestPath());
  if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) std::abort();
  file.close();
  QFile::remove(app.install().uninstallerLogPath());

  QElapsedTimer timer;
  timer.start();
  const std::optional<InstallManifest> manifest = decodeInstallManifest(bytes);
  const qint64 decodeMs = timer.restart();
  const QString summary = app.manifestSummary();
  const qint64 summaryMs = timer.restart();
  Report report;
  app.removeManifestComponents({"model", "app-data", "speech-engine", "app"}, {}, report);
  const qint64 removalMs = timer.elapsed();

  std::printf("%7d components  %6.1f MiB manifest  decode %5lld ms  summary %5lld ms  "
              "read+decode+order+walk %5lld ms  %6lld report lines  peak memory %7.1f MiB\n",
              count, double(bytes.size()) / (1024.0 * 1024.0), static_cast<long long>(decodeMs),
              static_cast<long long>(summaryMs), static_cast<long long>(removalMs),
              static_cast<long long>(report.lines.size()), peakMemoryMiB());
  if (!manifest || summary == app.install().manifestPath()) std::fputs("  (manifest not usable!)\n", stderr);
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
  UninstallerApp app(platform);
  for (const int count : {1000, 10000, 100000}) run(count, app);
  return 0;
}
