#include "platform/linux/LinuxDesktop.h"

#include "widgets/ReportView.h"

#include <QDialogButtonBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QGuiApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QSpacerItem>
#include <QThread>

#include <memory>
#include <optional>

namespace {

// An alert as the program's home desktop draws one: a panel about 420 points
// wide with the title in bold over the message (a message box alone takes
// the width of its title and wraps the message over many short lines), under
// the title of the program's window, where a window manager would otherwise
// show the executable's name. Last: setting an icon or a text rebuilds the
// box's layout.
constexpr int kAlertWidth = 420;

void styleAsAlert(QMessageBox& box, const QString& windowTitle) {
  box.setWindowTitle(windowTitle);
  auto* title = box.findChild<QLabel*>(QStringLiteral("qt_msgbox_label"));
  QFont bold = title->font();
  bold.setBold(true);
  title->setFont(bold);
  // The box takes the width its layout needs at least: a spacer across it
  // makes that the panel's.
  auto* grid = qobject_cast<QGridLayout*>(box.layout());
  const QMargins margins = grid->contentsMargins();
  grid->addItem(new QSpacerItem(kAlertWidth - margins.left() - margins.right(), 0, QSizePolicy::Fixed),
                grid->rowCount(), 0, 1, grid->columnCount());
}

// The title of the program's window: the application's display name, which
// the program sets to it, where a dialog is on no window.
QString windowTitleFor(const QWidget* window) {
  return window ? window->window()->windowTitle() : QGuiApplication::applicationDisplayName();
}

// "Show Details..." beside the box's buttons, unfolding a read-only report of
// the details under them, as a message box's own detailed text does. Its own
// button would answer the box, so this one sits beside the button box rather
// than in it. The details are asked for on the first unfolding only, on a
// thread of their own, so that the box appears at once and stays responsive
// however long they take; a report view keeps even a million lines cheap.
constexpr int kDetailsHeight = 240;

class DetailsPanel final : public QObject {
 public:
  DetailsPanel(QMessageBox& box, DesktopPlatform::DetailsProvider provider)
      : QObject(&box), provider_(std::move(provider)) {
    button_ = new QPushButton(QStringLiteral("Show Details..."), &box);
    button_->setObjectName(QStringLiteral("showDetails"));
    button_->setAutoDefault(false);
    view_ = new ReportView(&box);
    view_->setObjectName(QStringLiteral("details"));
    view_->setFixedSize(kAlertWidth - 2 * kDetailsMargin, kDetailsHeight);
    view_->hide();

    auto* grid = qobject_cast<QGridLayout*>(box.layout());
    auto* buttonBox = box.findChild<QDialogButtonBox*>();
    int row = 0, column = 0, rowSpan = 0, columnSpan = 0;
    grid->getItemPosition(grid->indexOf(buttonBox), &row, &column, &rowSpan, &columnSpan);
    grid->removeWidget(buttonBox);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(button_);
    buttons->addWidget(buttonBox, /*stretch=*/1);
    grid->addLayout(buttons, row, column, rowSpan, columnSpan);
    grid->addWidget(view_, grid->rowCount(), 0, 1, grid->columnCount());
    connect(button_, &QPushButton::clicked, this, &DetailsPanel::toggle);
  }

  // Details still being worked out read the system that the answer is about
  // to change: they are told to stop, and waited for.
  ~DetailsPanel() override {
    stop_.request_stop();
    if (worker_) worker_->wait();
  }

 private:
  static constexpr int kDetailsMargin = 12;

  void toggle() {
    const bool unfold = view_->isHidden();
    view_->setVisible(unfold);
    button_->setText(unfold ? QStringLiteral("Hide Details...") : QStringLiteral("Show Details..."));
    if (unfold && !worker_) start();
    if (QWidget* box = view_->window()) box->adjustSize();
  }

  void start() {
    view_->setText(QStringLiteral("Working..."));
    worker_.reset(QThread::create([this] { lines_ = provider_(stop_.get_token()); }));
    connect(worker_.get(), &QThread::finished, this, [this] { view_->setLines(lines_); });
    worker_->start();
  }

  DesktopPlatform::DetailsProvider provider_;
  QPushButton* button_ = nullptr;
  ReportView* view_ = nullptr;
  std::stop_source stop_;
  std::unique_ptr<QThread> worker_;
  QStringList lines_;
};

// A warning whose confirming button is the default (Return) and whose cancel
// button answers Escape; application-modal, on no window.
std::unique_ptr<QMessageBox> makeConfirmationBox(const QString& title, const QString& message,
                                                 const QString& confirmTitle, const QString& cancelTitle,
                                                 const DesktopPlatform::DetailsProvider& details) {
  auto box = std::make_unique<QMessageBox>();
  box->setIcon(QMessageBox::Warning);
  box->setText(title);
  box->setInformativeText(message);
  QPushButton* confirmButton = box->addButton(confirmTitle, QMessageBox::AcceptRole);
  QPushButton* cancelButton = box->addButton(cancelTitle, QMessageBox::RejectRole);
  box->setDefaultButton(confirmButton);
  box->setEscapeButton(cancelButton);
  box->setWindowModality(Qt::ApplicationModal);
  styleAsAlert(*box, windowTitleFor(nullptr));
  if (details) new DetailsPanel(*box, details);
  return box;
}

// The report goes into a scrolling read-only view under the title rather
// than into the box's informative label: the label lays out its whole text
// at once, which takes minutes for a long report and grows the box far past
// the screen. The view is as tall as a short report needs and at most half
// the screen, so the box always fits.
constexpr int kReportWidth = 480;

void addReportView(QMessageBox& box, const QStringList& lines) {
  auto* view = new ReportView(&box);
  view->setObjectName(QStringLiteral("report"));
  view->setLines(lines);
  // The keys scroll and select the report from the start; Return and Escape,
  // which it leaves alone, still answer the box through its button.
  view->setFocus();
  const QScreen* screen = box.parentWidget() ? box.parentWidget()->screen() : QGuiApplication::primaryScreen();
  const int limit = screen ? screen->availableGeometry().height() / 2 : kReportWidth;
  const std::optional<int> height = view->heightToShowAll(kReportWidth, limit);
  // Decided before the view is shown: a scroll bar that appears later would
  // narrow the view and wrap a long text a second time.
  view->setVerticalScrollBarPolicy(height ? Qt::ScrollBarAlwaysOff : Qt::ScrollBarAlwaysOn);
  view->setFixedSize(kReportWidth, height.value_or(limit));

  // Where the box puts an informative text: right under its title.
  auto* grid = qobject_cast<QGridLayout*>(box.layout());
  const int titleIndex = grid->indexOf(box.findChild<QLabel*>(QStringLiteral("qt_msgbox_label")));
  int row = 0, column = 0, rowSpan = 0, columnSpan = 0;
  grid->getItemPosition(titleIndex, &row, &column, &rowSpan, &columnSpan);
  grid->addWidget(view, row + 1, column);
}

// The report of a finished action, with one button. On a window it is modal
// to that window only and deletes itself once closed; without one it is
// application-modal.
std::unique_ptr<QMessageBox> makeCompletionBox(QWidget* window, bool warningStyle, const QString& title,
                                               const QStringList& report, const QString& buttonTitle) {
  auto box = std::make_unique<QMessageBox>(window);
  box->setIcon(warningStyle ? QMessageBox::Warning : QMessageBox::Information);
  box->setText(title);
  QPushButton* button = box->addButton(buttonTitle, QMessageBox::AcceptRole);
  box->setDefaultButton(button);
  box->setEscapeButton(button);
  // Before the report takes the focus: setting the modality gives it back to
  // the default button.
  if (window) {
    box->setWindowModality(Qt::WindowModal);
    box->setAttribute(Qt::WA_DeleteOnClose);
  } else {
    box->setWindowModality(Qt::ApplicationModal);
  }
  // Last: setting an icon or a text rebuilds the box's layout.
  addReportView(*box, report);
  styleAsAlert(*box, windowTitleFor(window));
  return box;
}

}  // namespace

bool LinuxDesktop::confirm(const QString& title, const QString& message, const QString& confirmTitle,
                           const QString& cancelTitle, const DetailsProvider& details) {
  const std::unique_ptr<QMessageBox> box = makeConfirmationBox(title, message, confirmTitle, cancelTitle, details);
  box->exec();
  // Closing the box any other way than with the confirming button is a no.
  return box->clickedButton() != nullptr && box->clickedButton() == box->defaultButton();
}

void LinuxDesktop::showCompletion(QWidget* window, bool warningStyle, const QString& title,
                                   const QStringList& reportLines, const QString& buttonTitle) {
  std::unique_ptr<QMessageBox> box = makeCompletionBox(window, warningStyle, title, reportLines, buttonTitle);
  if (!window) {
    box->exec();
    return;
  }
  // Like a sheet: it returns at once and the box deletes itself when closed.
  box.release()->open();
}
