/*
 * Comes before the platform's semaphores, for libcodecmap.so: linked into a program, or preloaded. The media
 * locks are then those of the file that $ORKA_TEST_SEMAPHORES names, and the system's are left alone.
 */
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>

#include "pavosem.h"

extern "C" int PavoSemCreate(const char *path, int key, int initial, int *id_out)
{
    using Create = int(const char *, int, int, int *);
    static auto *const create = reinterpret_cast<Create *>(dlsym(RTLD_NEXT, "PavoSemCreate"));
    const char *const own = getenv("ORKA_TEST_SEMAPHORES");

    if (!own || strcmp(path, "/var/tmp/sem-dm320-media") != 0)
        return -1;
    return create(own, key, initial, id_out);
}
