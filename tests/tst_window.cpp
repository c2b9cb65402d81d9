// The window as the controller builds it, and the runner around a plan, on
// the fake platform: layout, cancelling, quitting, the showing log line, the
// icon's fallbacks, the busy state, the log block and the completion dialog;
// and where the window goes: screen choice and the centring with its margins,
// in desktop coordinates, and the desktop made from Qt's screens.
#include "actions/Preview.h"
#include "app/UninstallerApp.h"
#include "app/WindowPlacement.h"
#include "fakes/FakeDesktop.h"
#include "platform/linux/DesktopCoordinates.h"
#include "widgets/ReportRows.h"
#include "widgets/ReportView.h"
#include "support/Tables.h"

#include <QJsonArray>
#include <QLabel>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>

namespace {

const QString kInitial = QStringLiteral("Nothing has been removed yet.");
const QSizeF kWindow(620, 548);

std::optional<std::size_t> indexOf(const QJsonValue& index) {
  return index.toInt() < 0 ? std::nullopt : std::optional(std::size_t(index.toInt()));
}

// Screens as [frame, visible frame] pairs.
std::vector<ScreenGeometry> screensOf(const QJsonValue& pairs) {
  std::vector<ScreenGeometry> screens;
  for (const QJsonValue& screen : pairs.toArray()) screens.push_back({rectOf(screen[0]), rectOf(screen[1])});
  return screens;
}

// Counts the paint events of the widget it watches.
struct PaintCounter : QObject {
  int paints = 0;
  bool eventFilter(QObject*, QEvent* event) override {
    paints += event->type() == QEvent::Paint;
    return false;
  }
};

QWidget* child(UninstallerApp& app, const QString& name) { return app.window->findChild<QWidget*>(name); }

QImage solid(QColor colour) {
  QImage image(8, 8, QImage::Format_ARGB32);
  image.fill(colour);
  return image;
}

// Every button disabled, the bar moving and the working text shown; or every
// button enabled and the bar hidden.
bool busy(const UninstallerApp& app) {
  for (const QPushButton* button : app.buttons)
    if (button->isEnabled()) return false;
  return !app.progress->isHidden() && app.statusView->toPlainText() == QStringLiteral("Working...");
}
bool idle(const UninstallerApp& app) {
  for (const QPushButton* button : app.buttons)
    if (!button->isEnabled()) return false;
  return app.progress->isHidden();
}

}  // namespace

class WindowTest : public QObject {
  Q_OBJECT

 private Q_SLOTS:
  void startState() {
    FakePlatform platform;
    FakeDesktop desktop(platform);
    UninstallerApp app(platform, desktop);
    app.show();
    QCOMPARE(app.window->minimumSize(), QSize(620, 520));
    QCOMPARE(app.window->maximumSize(), QSize(620, 520));
    QCOMPARE(app.buttons.size(), std::size_t(5));
    QCOMPARE(app.statusView->toPlainText(), kInitial);
    QVERIFY(app.statusView->isReadOnly() && app.statusView->textInteractionFlags() & Qt::TextSelectableByMouse);
    QVERIFY(idle(app));
    QCOMPARE(app.progress->maximum(), 0);  // indeterminate: moves while shown
    // As on the Mac, Return does not press the focused button.
    QTest::keyClick(app.buttons.at(3), Qt::Key_Return);
    QCOMPARE(desktop.confirmations.size(), std::size_t(0));
  }

  // Layout points are pixels at the default resolution, where every text
  // must fit its fixed frame.
  void layout_data() { addTableRows("window", "controls"); }
  void layout() {
    QFETCH(QJsonObject, row);
    FakePlatform platform;
    FakeDesktop desktop(platform);
    UninstallerApp app(platform, desktop);
    app.show();
    const bool isButton = row["button"].isDouble();
    QWidget* control = isButton ? app.buttons.at(row["button"].toInt()) : child(app, row["name"].toString());
    if (isButton) QCOMPARE(static_cast<QPushButton*>(control)->text(), row["name"].toString());
    QCOMPARE(control->geometry(), rectOf(row["frame"]).toRect());
    if (row.contains("font"))
      QCOMPARE(QList<int>({control->font().pixelSize(), control->font().weight()}),
               QList<int>({row["font"][0].toInt(), row["font"][1].toInt()}));
    if (auto* label = qobject_cast<QLabel*>(control); label && row["fits"].toBool()) {
      const QRect needed = label->fontMetrics().boundingRect(QRect(0, 0, label->width(), 1000), Qt::TextWordWrap,
                                                             label->text());
      QVERIFY(needed.height() <= label->height() && needed.width() <= label->width());
    }
    if (row.contains("rounded")) {
      const QImage shot = control->grab().toImage();
      const QColor fill = control->palette().color(QPalette::Base);
      const int inside = row["rounded"][0].toInt(), outside = row["rounded"][1].toInt();
      QVERIFY(shot.pixelColor(inside, inside) == fill && shot.pixelColor(outside, outside) != fill);
    }
  }

  // Each button asks its own question and offers its action's preview; a no,
  // even after the details were looked at, leaves no busy state, no log
  // entry, no change and no plan run later.
  void cancelChangesNothing_data() { addTableRows("window", "cancel"); }
  void cancelChangesNothing() {
    QFETCH(QJsonObject, row);
    FakePlatform platform;
    platform.addFile("/Users/example/Library/Caches/com.quvex.Talvoren.direct/c");
    platform.addApplication("com.quvex.Talvoren.direct", "Talvoren")->pid = 9;
    FakeDesktop desktop(platform);
    desktop.showDetails = true;
    UninstallerApp app(platform, desktop);
    app.show();
    const auto filesBefore = platform.files;
    platform.journal.clear();

    app.buttons.at(row["button"].toInt())->click();
    QTest::qWait(250);

    // The preview only reads: the running app is listed and the marker asked
    // for, and nothing else is run.
    QCOMPARE(platform.journal.filter(QRegularExpression("^(?!list |run /usr/bin/defaults read )")),
             QStringList{"confirm " + row["title"].toString()});
    const FakeDesktop::Confirmation& asked = desktop.confirmations[0];
    QCOMPARE(asked.details.value().mid(0, 3), (QStringList{previewAssumption(), "", "Will be moved to the Trash:"}));
    QCOMPARE(asked.details->join('\n').contains("Caches: /Users/example/Library/Caches/com.quvex.Talvoren.direct"),
             row["title"] == "Fully uninstall Talvoren?");
    QCOMPARE(asked.details->contains("  Ask process 9 to quit"), row["title"].toString().contains("Talvoren"));
    QCOMPARE(asked.message, row["message"].toString());
    QCOMPARE(asked.confirmTitle + "|" + asked.cancelTitle, row["confirm"].toString() + "|Cancel");
    QCOMPARE(platform.files, filesBefore);
    QCOMPARE(app.statusView->toPlainText(), kInitial);
    QVERIFY(idle(app));
  }

  // A normal start shows twice: one window, two placements, two log lines.
  void showPlacesAndLogs_data() { addTableRows("window", "show"); }
  void showPlacesAndLogs() {
    QFETCH(QJsonObject, row);
    FakePlatform platform;
    FakeDesktop desktop(platform);
    desktop.screenList = screensOf(row["screens"]);
    platform.shortVersion = row["version"].isString() ? std::optional(row["version"].toString()) : std::nullopt;
    UninstallerApp app(platform, desktop);
    app.show();
    QWidget* first = app.window.get();
    app.show();

    QCOMPARE(app.window.get(), first);
    const QString placement = row["placement"].toString();
    QCOMPARE(platform.journal, (QStringList{placement, "front", placement, "front"}));
    const QString line = "[2026-11-16T15:54:07Z] Uninstaller shown bundle=/opt/TalvorenUninstaller " +
                         row["logged"].toString() + "\n";
    QCOMPARE(platform.files.value(kFakeLogPath), (line + line).toUtf8());
  }

  void placesOnChosenScreen_data() { addTableRows("window-placement", "placement"); }
  void placesOnChosenScreen() {
    QFETCH(QJsonObject, row);
    const WindowPlacement placement = placeWindow(screensOf(row["screens"]), indexOf(row["main"]), kWindow);
    QVERIFY(std::holds_alternative<QRectF>(placement));
    QCOMPARE(std::get<QRectF>(placement), rectOf(row["expected"]));
  }

  void desktopFromQtScreens_data() { addTableRows("window-placement", "desktop"); }
  void desktopFromQtScreens() {
    QFETCH(QJsonObject, row);
    std::vector<QtScreen> screens;
    for (const QJsonValue& screen : row["qt"].toArray())
      screens.push_back({rectOf(screen[0]).toRect(), rectOf(screen[1]).toRect()});
    const DesktopCoordinates coordinates(screens, indexOf(row["primary"]));
    QList<QRectF> mapped, expected;
    for (const ScreenGeometry& screen : coordinates.screens()) mapped << screen.frame << screen.visibleFrame;
    for (const QJsonValue& screen : row["desktop"].toArray()) expected << rectOf(screen[0]) << rectOf(screen[1]);
    QCOMPARE(mapped, expected);

    const QRectF placed = std::get<QRectF>(placeWindow(coordinates.screens(), std::nullopt, kWindow));
    QCOMPARE(coordinates.toQt(placed), rectOf(row["placedInQt"]));
    QCOMPARE(coordinates.fromQt(rectOf(row["placedInQt"])), placed);
  }

  // Which sources exist, as letters: R our resource, L it loads, A the
  // installed app, P the program's icon. No colour: no picture at all.
  void iconFallsBack_data() { addTableRows("window", "icon"); }
  void iconFallsBack() {
    QFETCH(QJsonObject, row);
    const QString sources = row["sources"].toString();
    FakePlatform platform;
    FakeDesktop desktop(platform);
    const QString path = QStringLiteral("/opt/TalvorenUninstaller/OstrelIcon.png");
    if (sources.contains('R')) platform.resources.insert(QStringLiteral("OstrelIcon.png"), path);
    if (sources.contains('L')) desktop.images.insert(path, solid(Qt::red));
    if (sources.contains('A')) platform.addDirectory(QStringLiteral("/Applications/Talvoren.app"));
    desktop.fileIcons.insert(QStringLiteral("/Applications/Talvoren.app"), solid(QColor("lime")));
    if (sources.contains('P')) desktop.programIcon = solid(Qt::blue);
    UninstallerApp app(platform, desktop);
    app.show();

    const QPixmap shown = qobject_cast<QLabel*>(child(app, QStringLiteral("icon")))->pixmap();
    QCOMPARE(shown.isNull(), !row.contains("colour"));
    if (shown.isNull()) return;
    QCOMPARE(shown.size(), QSize(64, 64));  // scaled up to fit
    QCOMPARE(shown.toImage().pixelColor(32, 32), QColor(row["colour"].toString()));
  }

  // How a report's line breaks into the rows of a view so many columns wide.
  void reportRows_data() { addTableRows("window", "rows"); }
  void reportRows() {
    QFETCH(QJsonObject, row);
    const QString line = row["line"].toString();
    const qsizetype columns = row["columns"].toInteger();
    QList<qsizetype> expected;
    for (const QJsonValue& start : row["starts"].toArray()) expected << start.toInteger();
    const std::vector<qsizetype> starts = rowStarts(line, columns);
    QCOMPARE(QList<qsizetype>(starts.begin(), starts.end()), expected);
    QCOMPARE(countRows(line, columns), expected.size());
  }

  // A press at the left of one row and a shift-click at the right of the next
  // select both lines whole, and both are highlighted.
  void mouseSelectsRowByRow() {
    ReportView view;
    view.resize(400, 200);
    view.setLines({"first line", "second line", "third line"});
    view.show();
    const auto rowMiddle = [&view](int row) { return (2 * row + 1) * view.fontMetrics().lineSpacing() / 2 + 2; };
    QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, QPoint(1, rowMiddle(0)));
    QTest::mouseClick(view.viewport(), Qt::LeftButton, Qt::ShiftModifier, QPoint(390, rowMiddle(1)));
    QCOMPARE(view.selectedText(), "first line\nsecond line");
    const QImage shot = view.viewport()->grab().toImage();
    const auto highlighted = [&](int row) {
      for (int x = 0; x < shot.width(); ++x)
        if (shot.pixelColor(x, rowMiddle(row)) == view.palette().color(QPalette::Highlight)) return true;
      return false;
    };
    QCOMPARE(QList<bool>({highlighted(0), highlighted(1), highlighted(2)}), QList<bool>({true, true, false}));
  }

  // Selecting as in any read-only text. Each step is a key ("key Shift+End")
  // or a press at a row and column from the view's top: "click", "shift"
  // (with Shift), "double" and "triple" (clicks).
  void selecting_data() { addTableRows("window", "selecting"); }
  void selecting() {
    QFETCH(QJsonObject, row);
    ReportView view;
    view.setLines(stringsOf(row["lines"]));
    const int rowHeight = view.fontMetrics().lineSpacing();
    view.resize(400, 2 * view.frameWidth() + 8 + row["rows"].toInt(5) * rowHeight);
    view.show();
    const qreal cell = QFontMetricsF(view.font()).horizontalAdvance('x');
    QWidget* area = view.viewport();
    for (const QString& step : stringsOf(row["steps"])) {
      const QStringList words = step.split(' ');
      if (words[0] == "key") {
        QTest::keySequence(&view, QKeySequence(words[1]));
        continue;
      }
      const QPoint at(4 + qRound((words[2].toInt() + 0.25) * cell), 4 + words[1].toInt() * rowHeight + rowHeight / 2);
      if (words[0] == "click" || words[0] == "shift")
        QTest::mouseClick(area, Qt::LeftButton, words[0] == "shift" ? Qt::ShiftModifier : Qt::NoModifier, at);
      if (words[0] == "double" || words[0] == "triple") {
        QTest::mouseDClick(area, Qt::LeftButton, {}, at);
        QTest::mouseRelease(area, Qt::LeftButton, {}, at);
      }
      if (words[0] == "triple") QTest::mouseClick(area, Qt::LeftButton, {}, at);
    }
    QCOMPARE(view.selectedText(), row["selected"].toString());
  }

  // Tab reaches the view, and the caret there shows that it has the keys.
  void tabShowsTheCaret() {
    QApplication::setCursorFlashTime(0);  // a caret that stays, for the picture
    QWidget window;
    auto* button = new QPushButton("before", &window);
    auto* view = new ReportView(&window);
    view->setLines({"report"});
    view->setGeometry(0, 40, 200, 60);
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    button->setFocus();
    const QImage unfocused = view->grab().toImage();
    QTest::keyClick(button, Qt::Key_Tab);
    QVERIFY(view->hasFocus());
    QVERIFY(view->grab().toImage() != unfocused);
  }

  // Held past the bottom edge, the button scrolls on with no further move,
  // selecting what comes into sight, until it is let go.
  void dragPastTheEdgeScrollsOn() {
    ReportView view;
    QStringList lines;
    for (int i = 0; i < 100; ++i) lines << QString::number(i);
    view.setLines(lines);
    view.resize(200, 100);
    view.show();
    const QPoint below(5, view.viewport()->height() + 20);
    QTest::mousePress(view.viewport(), Qt::LeftButton, {}, QPoint(5, 5));
    QTest::mouseMove(view.viewport(), below);
    const int afterMove = view.verticalScrollBar()->value();
    QTRY_VERIFY(view.verticalScrollBar()->value() >= afterMove + 3);
    QTest::mouseRelease(view.viewport(), Qt::LeftButton, {}, below);
    const int released = view.verticalScrollBar()->value();
    QTest::qWait(150);
    QCOMPARE(view.verticalScrollBar()->value(), released);
    QVERIFY(view.selectedText().startsWith("0\n1\n2\n3\n"));
  }

  // New lines are painted at once, not when something else repaints.
  void newLinesArePainted() {
    ReportView view;
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    PaintCounter counter;
    view.viewport()->installEventFilter(&counter);
    view.setLines({"Working..."});
    QTRY_VERIFY(counter.paints > 0);
  }

  // The context menu offers Copy, only once something is selected, and Select All.
  void reportContextMenu() {
    ReportView view;
    view.setLines({"line"});
    view.show();
    QStringList entries;
    QTimer poll;
    connect(&poll, &QTimer::timeout, [&] {
      auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
      for (const QAction* action : menu ? menu->actions() : QList<QAction*>())
        entries << action->text() + (action->isEnabled() ? "" : " (off)");
      if (menu) menu->close();
    });
    poll.start(10);
    QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(5, 5), view.mapToGlobal(QPoint(5, 5)));
    QApplication::sendEvent(view.viewport(), &event);
    QCOMPARE(entries, QStringList({"&Copy (off)", "Select All"}));
  }

  // The plan starts no sooner than 0.1 s later, with the window busy. The log
  // gets a blank line, a stamped heading and the report; the line naming the
  // log is for the screen only, where status and dialog agree.
  void runnerRunsPlanLaterAndReports_data() { addTableRows("window", "runner"); }
  void runnerRunsPlanLaterAndReports() {
    QFETCH(QJsonObject, row);
    const bool withWindow = row["window"].toBool();
    const QString last = row["last"].toString();
    const bool failure = last.startsWith(QLatin1String("[Needs attention] "));
    FakePlatform platform;
    FakeDesktop desktop(platform);
    UninstallerApp app(platform, desktop);
    if (withWindow) app.show();
    const QByteArray logBefore = platform.files.value(kFakeLogPath);
    qint64 startedAfterMs = -1;
    bool busyWhileRunning = false;
    QElapsedTimer clock;
    clock.start();

    app.runAction([&] {
      startedAfterMs = clock.elapsed();
      busyWhileRunning = busy(app);
      Report report;
      report.skipped("Install manifest: not found");
      failure ? report.warning(last.section("] ", 1)) : report.ok(last.section("] ", 1));
      return report;
    });
    QCOMPARE(startedAfterMs, -1);
    // Without a window the lone bar must not pop up as a window of its own.
    QCOMPARE(busy(app), withWindow);
    QTRY_COMPARE(desktop.completions.size(), std::size_t(1));

    QVERIFY(startedAfterMs >= 100);
    QCOMPARE(busyWhileRunning, withWindow);
    QVERIFY(idle(app));
    const QString lines = "[Skipped] Install manifest: not found\n" + last;
    QCOMPARE(QString::fromUtf8(platform.files.value(kFakeLogPath).mid(logBefore.size())),
             "\n[2026-11-16T15:54:07Z] Action report:\n" + lines + "\n");
    QCOMPARE(app.statusView->toPlainText(), lines + "\n[OK] Uninstall log saved: " + kFakeLogPath);
    const FakeDesktop::Completion& dialog = desktop.completions[0];
    QCOMPARE(dialog.informativeText, app.statusView->toPlainText());
    QCOMPARE(dialog.warningStyle, failure);
    QCOMPARE(dialog.title + "|" + dialog.buttonTitle, QStringLiteral("Done|OK"));
    QCOMPARE(dialog.window, withWindow ? app.window.get() : nullptr);
  }
};

QTEST_MAIN(WindowTest)
#include "tst_window.moc"
