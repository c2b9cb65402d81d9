#pragma once

#include "base/Report.h"
#include "base/TalvorenInstall.h"
#include "base/Text.h"
#include "base/UninstallLog.h"
#include "platform/Platform.h"

#include <QString>
#include <QStringList>

// What every operation of an action works with: the fixed texts, the platform
// it acts through, the install locations and the uninstaller's log. It is the
// root of the chain of operation layers (cleanup, manifest, the plans), built
// before any of them so that each can rely on it. Everything here runs on one
// thread, one step after another, so nothing is locked.
class OperationContext {
 public:
  explicit OperationContext(Platform& platform) : platform_(platform), install_(platform), log_(platform, install_) {}
  OperationContext(const OperationContext&) = delete;
  OperationContext& operator=(const OperationContext&) = delete;

  const Text text;

  Platform& platform() const { return platform_; }
  const TalvorenInstall& install() const { return install_; }
  const UninstallLog& log() const { return log_; }

  // Runs a program to its end; see Platform::runProcess. Every system program
  // that an operation needs is started here and nowhere else, and each call
  // says whether it changes the system or only asks.
  CommandResult runCommand(const QString& program, const QStringList& arguments,
                           CommandEffect effect) const;

 protected:
  ~OperationContext() = default;

  Platform& platform_;
  TalvorenInstall install_;
  UninstallLog log_;
};
