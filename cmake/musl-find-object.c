// musl-find-object.c - for programs with C++ exceptions, which means tests, that have musl. The unwinder in Debian's libgcc
// is compiled for glibc and asks it where the code at an address has its unwind table; musl tells the same in another way.
#define _GNU_SOURCE
#include <link.h>
#include <stddef.h>

struct dl_find_object { // as glibc has it on processors without a base address of data
    unsigned long long flags;
    void *mapStart, *mapEnd;
    struct link_map *map;
    void *ehFrame;
    unsigned long long reserved[7];
};

struct Search {
    ElfW(Addr) address;
    struct dl_find_object *found;
};

static int Look(struct dl_phdr_info *object, size_t size, void *context)
{
    struct Search *const search = context;
    const ElfW(Phdr) *code = NULL, *table = NULL;
    (void)size;
    for (int i = 0; i < object->dlpi_phnum; i++) {
        const ElfW(Phdr) *const part = &object->dlpi_phdr[i];
        const ElfW(Addr) start = object->dlpi_addr + part->p_vaddr;
        if (part->p_type == PT_LOAD && search->address - start < part->p_memsz) code = part;
        if (part->p_type == PT_GNU_EH_FRAME) table = part;
    }
    if (!code || !table) return 0;
    search->found->mapStart = (void *)(object->dlpi_addr + code->p_vaddr);
    search->found->mapEnd = (void *)(object->dlpi_addr + code->p_vaddr + code->p_memsz);
    search->found->ehFrame = (void *)(object->dlpi_addr + table->p_vaddr);
    return 1;
}

// Returns 0 and fills `found` when the code at `address` belongs to a loaded object with a table, else -1. Any thread.
int _dl_find_object(void *address, struct dl_find_object *found)
{
    struct Search search = {(ElfW(Addr))address, found};
    return dl_iterate_phdr(Look, &search) ? 0 : -1;
}
