#pragma once

namespace testsupport {

// "--hold-database-locked FILE": a program of the tests plays another program that holds the
// database in an exclusive transaction (dbtest::LockingProcess), on every system alike. It says
// "locked" once it holds it and lets go when its standard input closes. The exit status.
int holdDatabaseLocked(const char* file);

} // namespace testsupport
