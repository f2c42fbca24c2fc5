#pragma once

#include <sys/types.h>

namespace testsupport {

// File permissions do not bind the superuser, and the tests may run as root (CI does). For its
// lifetime this object makes permission checks apply: under root it switches the effective user
// to "nobody"; otherwise it changes nothing. Files the test wants readable must be readable by
// others.
class PermissionsEnforced {
public:
    PermissionsEnforced();
    ~PermissionsEnforced();
    PermissionsEnforced(const PermissionsEnforced&) = delete;
    PermissionsEnforced& operator=(const PermissionsEnforced&) = delete;

private:
    bool switched_ = false;
    uid_t uid_ = 0;
    gid_t gid_ = 0;
};

} // namespace testsupport
