#pragma once

#include <sys/resource.h>

namespace corvina {

/// Sets the process's core size limit to zero, soft and hard, as password
/// managers do: a crash must not leave the master or archive password, or a
/// key derived from it, in a core file. Called first thing by both programs.
inline void forbidCoreDumps() {
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
}

} // namespace corvina
