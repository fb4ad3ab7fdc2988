// Single-instance lock: a bound abstract Unix socket that the kernel releases when the process
// that holds it (or the last process that inherited it) exits.
#pragma once

constexpr const char* INSTANCE_LOCK_NAME = "vrx_uplinker";
constexpr int INSTANCE_LOCK_ATTEMPTS = 50;
constexpr long INSTANCE_LOCK_RETRY_NS = 100L * 1000 * 1000;

// Binds the lock socket, retrying for about five seconds; false when another instance holds it.
// The socket is left open on purpose for the life of the process.
bool acquireInstanceLock();
