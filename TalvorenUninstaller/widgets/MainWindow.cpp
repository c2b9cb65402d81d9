#include "widgets/MainWindow.h"

#include <QCloseEvent>

MainWindow::MainWindow(std::function<void()> onClose)
    : QWidget(nullptr, Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint |
                           Qt::WindowMinimizeButtonHint),
      onClose_(std::move(onClose)) {}

void MainWindow::closeEvent(QCloseEvent* event) {
  event->accept();
  if (onClose_) onClose_();
}
