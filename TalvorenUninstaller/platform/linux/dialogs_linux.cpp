#include "platform/linux/LinuxPlatform.h"

#include <QMessageBox>
#include <QPushButton>

#include <memory>

namespace {

// A warning whose confirming button is the default (Return) and whose cancel
// button answers Escape; application-modal, on no window.
std::unique_ptr<QMessageBox> makeConfirmationBox(const QString& title, const QString& message,
                                                 const QString& confirmTitle, const QString& cancelTitle) {
  auto box = std::make_unique<QMessageBox>();
  box->setIcon(QMessageBox::Warning);
  box->setText(title);
  box->setInformativeText(message);
  QPushButton* confirmButton = box->addButton(confirmTitle, QMessageBox::AcceptRole);
  QPushButton* cancelButton = box->addButton(cancelTitle, QMessageBox::RejectRole);
  box->setDefaultButton(confirmButton);
  box->setEscapeButton(cancelButton);
  box->setWindowModality(Qt::ApplicationModal);
  return box;
}

// The report of a finished action, with one button. On a window it is modal
// to that window only and deletes itself once closed; without one it is
// application-modal.
std::unique_ptr<QMessageBox> makeCompletionBox(QWidget* window, bool warningStyle, const QString& title,
                                               const QString& informativeText, const QString& buttonTitle) {
  auto box = std::make_unique<QMessageBox>(window);
  box->setIcon(warningStyle ? QMessageBox::Warning : QMessageBox::Information);
  box->setText(title);
  box->setInformativeText(informativeText);
  QPushButton* button = box->addButton(buttonTitle, QMessageBox::AcceptRole);
  box->setDefaultButton(button);
  box->setEscapeButton(button);
  if (window) {
    box->setWindowModality(Qt::WindowModal);
    box->setAttribute(Qt::WA_DeleteOnClose);
  } else {
    box->setWindowModality(Qt::ApplicationModal);
  }
  return box;
}

}  // namespace

bool LinuxPlatform::confirm(const QString& title, const QString& message, const QString& confirmTitle,
                            const QString& cancelTitle) {
  const std::unique_ptr<QMessageBox> box = makeConfirmationBox(title, message, confirmTitle, cancelTitle);
  box->exec();
  // Closing the box any other way than with the confirming button is a no.
  return box->clickedButton() != nullptr && box->clickedButton() == box->defaultButton();
}

void LinuxPlatform::showCompletion(QWidget* window, bool warningStyle, const QString& title,
                                   const QString& informativeText, const QString& buttonTitle) {
  std::unique_ptr<QMessageBox> box = makeCompletionBox(window, warningStyle, title, informativeText, buttonTitle);
  if (!window) {
    box->exec();
    return;
  }
  // Like a sheet: it returns at once and the box deletes itself when closed.
  box.release()->open();
}
