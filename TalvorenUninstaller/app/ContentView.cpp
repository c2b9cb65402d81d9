#include "app/ContentLayout.h"
#include "app/UninstallerApp.h"
#include "widgets/ReportView.h"

#include <QFontDatabase>
#include <QLabel>
#include <QPainter>
#include <QPixmap>
#include <QProgressBar>
#include <QPushButton>

using ContentLayout::frame;

namespace {

constexpr int kIconSide = 64;

// Where each action's button sits, in layout order: two rows of two. Its
// title and what it does come from the action's row in kActions.
struct ActionButton {
  Action action;
  void (UninstallerApp::*handler)();
  QRect frame;
};
const ActionButton kActionButtons[] = {
    {Action::ResetPermissions, &UninstallerApp::resetPermissionsOnly, frame(28, 300, 270, 34)},
    {Action::RemoveModel, &UninstallerApp::removeModel, frame(322, 300, 270, 34)},
    {Action::RemoveAppOnly, &UninstallerApp::removeAppOnly, frame(28, 252, 270, 34)},
    {Action::FullUninstall, &UninstallerApp::fullUninstall, frame(322, 252, 270, 34)},
};

// A rounded panel in the control background colour with no visible border;
// the note is a sibling drawn over it, not a child.
class RoundedBox final : public QWidget {
 public:
  using QWidget::QWidget;

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette().color(QPalette::Base));
    painter.drawRoundedRect(QRectF(rect()), 8.0, 8.0);
  }
};

// Layout sizes are points of the program's home desktop, where one point is
// one pixel at the default resolution; a Qt point size would come out larger
// on a 96 dpi screen and overflow the fixed frames. So fonts are sized in
// pixels equal to those points.
QFont systemFont(int size, QFont::Weight weight) {
  QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
  font.setPixelSize(size);
  font.setWeight(weight);
  return font;
}

QFont monospacedFont(int size) {
  QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  font.setPixelSize(size);
  font.setWeight(QFont::Normal);
  return font;
}

QLabel* makeLabel(QWidget* root, const char* name, const QString& text, const QFont& font,
                  QPalette::ColorRole colour, bool wraps) {
  auto* label = new QLabel(text, root);
  label->setObjectName(QLatin1String(name));
  label->setFont(font);
  label->setForegroundRole(colour);
  label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
  label->setWordWrap(wraps);
  // One-line labels are plain display; wrapping ones let the reader copy.
  label->setTextInteractionFlags(wraps ? Qt::TextSelectableByMouse : Qt::NoTextInteraction);
  return label;
}

QLabel* makeIcon(QWidget* root, const QImage& image) {
  auto* icon = new QLabel(root);
  icon->setObjectName(QStringLiteral("icon"));
  icon->setAlignment(Qt::AlignCenter);
  if (!image.isNull()) {
    // Proportional scaling, up or down, to fit the square.
    icon->setPixmap(QPixmap::fromImage(image).scaled(kIconSide, kIconSide, Qt::KeepAspectRatio,
                                                     Qt::SmoothTransformation));
  }
  return icon;
}

}  // namespace

QWidget* UninstallerApp::makeContentView() {
  auto* root = new QWidget;
  root->setObjectName(QStringLiteral("content"));
  root->setFixedSize(ContentLayout::kWidth, ContentLayout::kHeight);
  root->setBackgroundRole(QPalette::Window);
  root->setAutoFillBackground(true);

  makeIcon(root, iconImage())->setGeometry(frame(28, 420, 64, 64));
  makeLabel(root, "heading", text.title, systemFont(27, QFont::DemiBold), QPalette::WindowText, false)
      ->setGeometry(frame(108, 454, 470, 34));
  makeLabel(root, "subtitle", text.subtitle, systemFont(14, QFont::Normal), QPalette::PlaceholderText, true)
      ->setGeometry(frame(108, 421, 470, 34));

  auto* box = new RoundedBox(root);
  box->setObjectName(QStringLiteral("safetyBox"));
  box->setGeometry(frame(28, 354, 564, 48));
  makeLabel(root, "safetyNote", text.safetyNote, systemFont(13, QFont::Medium), QPalette::WindowText, true)
      ->setGeometry(frame(42, 364, 536, 28));

  const auto addButton = [&](const QString& title, void (UninstallerApp::*handler)(), QRect geometry) {
    auto* button = new QPushButton(title, root);
    button->setAutoDefault(false);
    button->setGeometry(geometry);
    connect(button, &QPushButton::clicked, this, handler);
    buttons.push_back(button);
  };
  for (const ActionButton& button : kActionButtons)
    addButton(text.*definitionOf(button.action).buttonTitle, button.handler, button.frame);

  // Indeterminate: Qt animates such a bar exactly while it is visible.
  progress->setParent(root);
  progress->setObjectName(QStringLiteral("progress"));
  progress->setRange(0, 0);
  progress->setTextVisible(false);
  progress->setGeometry(frame(28, 219, 564, 16));
  progress->hide();

  // The report view is both the bordered scroll view and the status text;
  // its always-present vertical scroller takes the 16 points between the two.
  // It wraps at its width and never scrolls sideways.
  statusView->setParent(root);
  statusView->setObjectName(QStringLiteral("status"));
  statusView->setFont(monospacedFont(12));
  statusView->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
  statusView->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
  statusView->setText(text.initialStatus);
  statusView->setGeometry(frame(28, 56, 564, 150));

  addButton(text.quitButton, &UninstallerApp::quit, frame(468, 16, 124, 30));
  return root;
}
