#pragma once

#include <QString>

#include <memory>

class QMessageBox;
class QWidget;

// The two dialogs of the program, built but not yet shown, so that how they
// are set up can be checked without anyone answering them.

// A warning whose confirming button is the default (Return) and whose cancel
// button answers Escape; application-modal, on no window.
std::unique_ptr<QMessageBox> makeConfirmationBox(const QString& title, const QString& message,
                                                 const QString& confirmTitle, const QString& cancelTitle);

// The report of a finished action, with one button. On a window it is modal
// to that window only and deletes itself once closed; without one it is
// application-modal.
std::unique_ptr<QMessageBox> makeCompletionBox(QWidget* window, bool warningStyle, const QString& title,
                                               const QString& informativeText, const QString& buttonTitle);
