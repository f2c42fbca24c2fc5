#include "support/permissions.h"

#include <pwd.h>
#include <stdexcept>
#include <unistd.h>

namespace testsupport {

PermissionsEnforced::PermissionsEnforced() {
    if (geteuid() != 0)
        return;
    const passwd* nobody = getpwnam("nobody");
    if (!nobody)
        throw std::runtime_error("no user 'nobody' to drop privileges to");
    uid_ = geteuid();
    gid_ = getegid();
    if (setegid(nobody->pw_gid) != 0 || seteuid(nobody->pw_uid) != 0)
        throw std::runtime_error("cannot switch to the user 'nobody'");
    switched_ = true;
}

PermissionsEnforced::~PermissionsEnforced() {
    if (!switched_)
        return;
    // Back to the superuser; failing here would leave the test process crippled.
    if (seteuid(uid_) != 0 || setegid(gid_) != 0)
        std::terminate();
}

} // namespace testsupport
