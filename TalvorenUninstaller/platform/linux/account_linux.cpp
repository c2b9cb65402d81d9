#include "platform/Account.h"
#include "platform/linux/NativePath.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace {

QString reasonOf(int error) { return QString::fromLocal8Bit(std::strerror(error)); }

// The account's entry, copied out of the database's buffer.
struct AccountEntry {
  QByteArray name;
  QByteArray home;
  uid_t uid = 0;
  gid_t gid = 0;
};

std::optional<AccountEntry> lookUp(const QByteArray& name) {
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  while (::getpwnam_r(name.constData(), &entry, buffer.data(), buffer.size(), &found) == ERANGE)
    buffer.resize(buffer.size() * 2);
  if (found == nullptr) return std::nullopt;
  return AccountEntry{found->pw_name, found->pw_dir ? found->pw_dir : "/", found->pw_uid, found->pw_gid};
}

}  // namespace

namespace Account {

bool runsAsRoot() { return ::geteuid() == 0 || ::getuid() == 0; }

std::optional<QString> currentName() {
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  while (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE)
    buffer.resize(buffer.size() * 2);
  if (found == nullptr) return std::nullopt;
  return decodeNativePath(found->pw_name);
}

std::optional<QString> become(const QString& name) {
  const std::optional<QByteArray> native = encodeNativePath(name);
  const std::optional<AccountEntry> account = native ? lookUp(*native) : std::nullopt;
  if (!account) return QStringLiteral("no account is named \"%1\"").arg(name);

  // Groups first, while the process may still change them; the user last,
  // since after it nothing else may be changed.
  if (::initgroups(account->name.constData(), account->gid) != 0 || ::setgid(account->gid) != 0 ||
      ::setuid(account->uid) != 0)
    return QStringLiteral("could not become %1: %2").arg(name, reasonOf(errno));
  // Refused for good: an administrator identity that could be taken back
  // would mean the change did not take.
  if (account->uid != 0 && (::setuid(0) == 0 || ::seteuid(0) == 0))
    return QStringLiteral("could not give up the administrator's rights for %1").arg(name);

  ::setenv("HOME", account->home.constData(), /*overwrite=*/1);
  ::setenv("USER", account->name.constData(), /*overwrite=*/1);
  ::setenv("LOGNAME", account->name.constData(), /*overwrite=*/1);
  // The caller's data folder would put the user's Trash in the caller's place.
  ::unsetenv("XDG_DATA_HOME");
  return std::nullopt;
}

bool standardInputIsTerminal() { return ::isatty(STDIN_FILENO) == 1; }

}  // namespace Account
