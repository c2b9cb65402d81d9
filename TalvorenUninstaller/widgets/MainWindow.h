#pragma once

#include <QWidget>

#include <functional>

// The program's one top-level window: fixed size, not resizable, with close
// and minimise buttons. Closing it tells its owner, which ends the program.
class MainWindow final : public QWidget {
 public:
  explicit MainWindow(std::function<void()> onClose);

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  std::function<void()> onClose_;
};
