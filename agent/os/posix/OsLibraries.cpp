#include "os/OsLibraries.h"

#include <cstring>
#include <link.h>

void OsEachLibrary(void (*each)(const char *path))
{
    const auto visit = [](struct dl_phdr_info *object, size_t, void *procedure) {
        // The program itself and the kernel's own library have no path.
        if (object->dlpi_name && strchr(object->dlpi_name, '/'))
            (*static_cast<void (**)(const char *)>(procedure))(object->dlpi_name);
        return 0;
    };
    dl_iterate_phdr(visit, &each);
}
