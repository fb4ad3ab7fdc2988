// The line the lookup tool "vrx-dig" prints for each address it found, and the daemon reads
// back: "Found ipV4 A.B.C.D". Shared by both, so that they cannot drift apart.
#pragma once

constexpr const char* FOUND_IPV4 = "Found ipV4";
