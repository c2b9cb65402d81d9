// The model removal on manifests of 10,000, 100,000 and 1,000,000 components,
// beside the floor: only what that behaviour cannot do without on the same
// file. Prints both times, their ratio and the peak memory of each, every
// measurement in a child process of its own so that one size's memory does
// not hide the next one's.
//
// "ours" is the manifest summary plus removeManifestComponents for the group
// "model" with the model removal's fallback, through the real Linux platform
// in a throwaway home. "floor" is two reads of the file, two parses by
// simdjson, one stat per component of the group and one appended log line
// (open, write, close) per absent one.
//
// The components, one in five of each, take every path of the walk: in the
// app's folder but absent (group "model": checked and logged), outside it,
// external, bundled with the app, and a second spelling of a model file's
// path (passed over in a walk of every group). Nothing exists on disk, so
// nothing is moved.
#include "actions/Uninstaller.h"
#include "platform/linux/LinuxPlatform.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <simdjson.h>

#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// One component as JSON text.
QByteArray component(int i, const QByteArray& support) {
  static const char* const kGroups[] = {"model", "app-data", "speech-engine", "app", "app-data"};
  const int kind = i % 5;
  const QByteArray n = QByteArray::number(i);
  QByteArray path;
  if (kind == 0) path = support + "/Models/" + QByteArray::number(i % 97) + "/m" + n + ".bin";
  if (kind == 1) path = "/opt/elsewhere/" + QByteArray::number(i % 13) + "/./f" + n;
  if (kind == 2) path = "/opt/homebrew/Cellar/e" + n;
  if (kind == 3) path = "/Applications/Talvoren.app/Contents/Resources/r" + n;
  if (kind == 4) {  // the path of component i - 4, through a detour
    const QByteArray bucket = QByteArray::number((i - 4) % 97);
    path = support + "/Models/" + bucket + "/../" + bucket + "/m" + QByteArray::number(i - 4) + ".bin";
  }
  return "{\"id\":\"c" + n + "\",\"kind\":\"" + (kind == 3 ? "bundled-runtime" : "file") + "\",\"path\":\"" + path +
         "\",\"status\":\"installed\",\"source\":\"installer\",\"installedByTalvoren\":true,\"removalGroup\":\"" +
         kGroups[kind] + "\",\"details\":{\"size\":\"" + n + "\"}}";
}

// Written in pieces, so that the bench's own memory stays small.
void writeManifest(const QString& path, int count, const QByteArray& support) {
  QFile file(path);
  if (!file.open(QIODevice::WriteOnly)) std::abort();
  QByteArray piece = "{\"components\":[";
  for (int i = 0; i < count; ++i) {
    piece += (i == 0 ? "" : ",") + component(i, support);
    if (piece.size() > (1 << 20) && file.write(piece) == piece.size()) piece.clear();
  }
  piece += "]}";
  if (file.write(piece) != piece.size()) std::abort();
}

double peakMemoryMiB() {
  QFile status(QStringLiteral("/proc/self/status"));
  if (!status.open(QIODevice::ReadOnly)) return 0;
  for (const QByteArray& line : status.readAll().split('\n'))
    if (line.startsWith("VmHWM:")) return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
  return 0;
}

void appendLine(const char* path, const QByteArray& line) {
  const int fd = ::open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0 || ::write(fd, line.constData(), size_t(line.size())) != line.size()) std::abort();
  ::close(fd);
}

// One read and one full parse of the manifest; returns the parsed document.
simdjson::dom::element parseManifest(simdjson::dom::parser& parser, const QString& path) {
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) std::abort();
  const QByteArray bytes = file.readAll();
  simdjson::dom::element root;
  if (parser.parse(bytes.constData(), size_t(bytes.size())).get(root) != simdjson::SUCCESS) std::abort();
  return root;
}

qint64 runFloor(const TalvorenInstall& install) {
  const QByteArray log = QFile::encodeName(install.uninstallerLogPath());
  QDir().mkpath(QFileInfo(install.uninstallerLogPath()).path());
  QElapsedTimer timer;
  timer.start();
  simdjson::dom::parser summaryParser;
  simdjson::dom::array list;
  if (parseManifest(summaryParser, install.manifestPath())["components"].get_array().get(list)) std::abort();
  std::printf("%zu components ", list.size());
  simdjson::dom::parser removalParser;
  for (simdjson::dom::element item : parseManifest(removalParser, install.manifestPath())["components"]) {
    if (std::string_view(item["removalGroup"]) != "model") continue;
    const std::string path{std::string_view(item["path"])};
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0)
      appendLine(log.constData(), "[2000-01-01T00:00:00Z] AI model files: not found at " + QByteArray::fromStdString(path) + '\n');
  }
  return timer.elapsed();
}

qint64 runOurs(Uninstaller& app) {
  QElapsedTimer timer;
  timer.start();
  const QString summary = app.manifestSummary();
  Report report;
  app.removeManifestComponents({QStringLiteral("model")}, {{app.install().modelsPath(), app.text.modelLabel}},
                               report);
  const qint64 elapsed = timer.elapsed();
  std::printf("%s, %lld report lines ", qPrintable(summary.section(QLatin1Char(' '), 0, 0)),
              static_cast<long long>(report.lines.size()));
  return elapsed;
}

// In a child: one measurement, printed as "<ms> <peak MiB>" on the last line.
int measure(int argc, char** argv) {
  QCoreApplication application(argc, argv);
  LinuxPlatform platform;
  Uninstaller app(platform);
  QFile::remove(app.install().uninstallerLogPath());
  const bool ours = qstrcmp(argv[1], "--ours") == 0;
  const qint64 elapsed = ours ? runOurs(app) : runFloor(app.install());
  std::printf("\n%lld %.1f\n", static_cast<long long>(elapsed), peakMemoryMiB());
  return 0;
}

struct Measurement {
  double ms = 0;
  double peakMiB = 0;
};

Measurement runChild(const QString& mode) {
  QProcess child;
  child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  child.start(QCoreApplication::applicationFilePath(), {mode});
  const bool finished = child.waitForFinished(-1);
  const QByteArray output = child.readAllStandardOutput().trimmed();
  if (!finished || child.exitStatus() != QProcess::NormalExit || child.exitCode() != 0) {
    std::fprintf(stderr, "%s failed: %s\n", qPrintable(mode), output.constData());
    std::exit(1);
  }
  const QList<QByteArray> figures = output.split('\n').last().split(' ');
  return {figures.value(0).toDouble(), figures.value(1).toDouble()};
}

int compare(int argc, char** argv) {
  QCoreApplication application(argc, argv);
  QTemporaryDir home;
  if (!home.isValid()) return 1;
  qputenv("HOME", QFile::encodeName(home.path()));
  qputenv("XDG_DATA_HOME", QFile::encodeName(home.path() + QStringLiteral("/.local/share")));
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  LinuxPlatform platform;
  const TalvorenInstall install(platform);
  QDir().mkpath(install.appSupportPath());

  std::printf("%9s %9s %10s %10s %7s %12s %12s\n", "components", "file MiB", "ours ms", "floor ms", "ratio",
              "ours peak", "floor peak");
  double previousMs = 0;
  for (const int count : {10000, 100000, 1000000}) {
    writeManifest(install.manifestPath(), count, install.appSupportPath().toUtf8());
    const double fileMiB = double(QFileInfo(install.manifestPath()).size()) / (1 << 20);
    const Measurement floor = runChild(QStringLiteral("--floor"));
    const Measurement ours = runChild(QStringLiteral("--ours"));
    std::printf("%9d %9.1f %10.0f %10.0f %7.2f %8.1f MiB %8.1f MiB (limit %.0f MiB)", count, fileMiB, ours.ms,
                floor.ms, ours.ms / floor.ms, ours.peakMiB, floor.peakMiB, 2 * fileMiB + 100);
    if (previousMs > 0) std::printf("  x%.1f the previous size", ours.ms / previousMs);
    std::printf("\n");
    std::fflush(stdout);
    previousMs = ours.ms;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) { return argc > 1 ? measure(argc, argv) : compare(argc, argv); }
