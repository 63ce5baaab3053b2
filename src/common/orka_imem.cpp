#include "common/orka_imem_internal.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include "common/orka_idevice_internal.h"
#include "common/orka_status_internal.h"
#include "orka_llist.h"
#include "orka_pthread.h"
#include "wire/orka_imanage_wire.h"

using namespace orka::wire;

static constexpr char pname[] = "ORKA_IMEM:";

static const char no_imem[] = "Obtaining IMEM FD.";
static const char no_imanage[] = "Obtaining IMANAGE FD.";

/* Methods */

static constexpr const char *method_names[] = {"DEFAULT", "MALLOC", "IMEM"};
static_assert(std::size(method_names) == ORKA_IMEM_METHOD_IMEM + 1);

const char *orka_imem_method_string(orka_imem_method_t method)
{
    if (method < 0 || static_cast<size_t>(method) >= std::size(method_names))
        return "UNKOWN";
    return method_names[method];
}

/* Addresses */

uint32_t orka_imem_v2p(void *vaddr, void *vbase, uint32_t pbase)
{
    ORKA_ASSERT_NOT_NULL(vaddr);
    return pbase +
           static_cast<uint32_t>(reinterpret_cast<uintptr_t>(vaddr) - reinterpret_cast<uintptr_t>(vbase));
}

void *orka_imem_p2v(uint32_t paddr, uint32_t pbase, void *vbase)
{
    ORKA_ASSERT(paddr != 0, "paddr != ((void *)0)");
    return reinterpret_cast<void *>(reinterpret_cast<uintptr_t>(vbase) + (uintptr_t{paddr} - pbase));
}

/* Pages */

static std::atomic<int32_t> pagesize = 0;

int32_t orka_imem_get_pagesize()
{
    const int32_t known = pagesize.load(std::memory_order_relaxed);

    if (known > 0)
        return known;

    const auto asked = static_cast<int32_t>(sysconf(_SC_PAGESIZE));
    const int saved_errno = errno;

    pagesize.store(asked, std::memory_order_relaxed);
    if (asked < 1)
        report_fatal_errno(saved_errno, HERE, "Obtaining Page Size.");
    return asked;
}

uintptr_t orka_imem_get_pageaddr(uintptr_t address)
{
    const uintptr_t page = address - address % static_cast<uintptr_t>(orka_imem_get_pagesize());

    if (page == 0 || static_cast<intptr_t>(page) > static_cast<intptr_t>(address))
        report_fatal(HERE, "Invalid Page Address.");
    return page;
}

/* Mapping */

/* A mapping that an address word of 32 bits can tell, or MAP_FAILED. */
#if UINTPTR_MAX == UINT32_MAX
static void *map_low(uint32_t length, int protection, int fd, uint32_t page)
{
    return mmap(nullptr, length, protection, MAP_SHARED, fd, static_cast<off_t>(page));
}
#elif defined(MAP_32BIT)
static void *map_low(uint32_t length, int protection, int fd, uint32_t page)
{
    return mmap(nullptr, length, protection, MAP_SHARED | MAP_32BIT, fd, static_cast<off_t>(page));
}
#else
static void *map_low(uint32_t length, int protection, int fd, uint32_t page)
{
    constexpr uintptr_t first = 0x10000000;
    constexpr uintptr_t step = 0x00100000;

    for (uintptr_t hint = first; hint + length <= UINT32_MAX; hint += step) {
        void *mapped = mmap(reinterpret_cast<void *>(hint), length, protection,
                            MAP_SHARED | MAP_FIXED_NOREPLACE, fd, static_cast<off_t>(page));
        if (mapped != MAP_FAILED || errno != EEXIST)
            return mapped;
    }
    errno = ENOMEM;
    return MAP_FAILED;
}
#endif

void *orka_imem_mmap_actual(uint32_t paddr, uint32_t length, int protection)
{
    const int32_t fd = orka_idevice_imem_fd();

    if (fd < 0) {
        orka_no_node(HERE, no_imem);
        return nullptr;
    }
    ORKA_ASSERT(paddr != 0, "paddr != 0");

    const auto page = static_cast<uint32_t>(orka_imem_get_pageaddr(paddr));
    const uint32_t reallen = length + (paddr - page);
    ORKA_ASSERT(reallen >= length, "reallen >= length");

    void *mapped = map_low(reallen, protection, fd, page);
    const int saved_errno = errno;
    if (mapped == MAP_FAILED) {
        report_error_errno(saved_errno, HERE, "MMapping Memory.");
        mapped = nullptr;
    }

    /* Kept on purpose: a failed mapping counts as one at address 0, which ends the process here. */
    const auto address = reinterpret_cast<uintptr_t>(mapped);
    if (orka_imem_get_pageaddr(address) != address)
        report_warning(HERE, "MMAPPED Address is not on a page boundary.");
    return static_cast<char *>(mapped) + (reallen - length);
}

orka_status_t orka_imem_munmap_actual(void *vaddr, uint32_t length)
{
    if (orka_idevice_imem_fd() < 0)
        return orka_no_node(HERE, no_imem);
    ORKA_ASSERT_NOT_NULL(vaddr);

    const uintptr_t page = orka_imem_get_pageaddr(reinterpret_cast<uintptr_t>(vaddr));
    const uint32_t reallen = length + static_cast<uint32_t>(reinterpret_cast<uintptr_t>(vaddr) - page);
    ORKA_ASSERT(reallen >= length, "reallen >= length");

    const int result = munmap(reinterpret_cast<void *>(page), reallen);
    const int saved_errno = errno;
    if (result != 0) {
        report_error_errno(saved_errno, HERE, "MMapping Memory.");
        return ORKA_STATUS_ERROR;
    }
    return ORKA_STATUS_SUCCESS;
}

void *orka_imem_mmap(uint32_t paddr, uint32_t length)
{
    return orka_imem_mmap_actual(paddr, length, PROT_READ | PROT_WRITE);
}

orka_status_t orka_imem_munmap(void *vaddr, uint32_t length)
{
    return orka_imem_munmap_actual(vaddr, length);
}

orka_status_t orka_imem_msync(void *address, uint32_t length)
{
    const int result = msync(address, length, MS_SYNC);
    const int saved_errno = errno;

    if (result != 0) {
        report_error_errno(saved_errno, HERE, "Syncing IMEM.");
        return ORKA_STATUS_CRUNTIME;
    }
    return ORKA_STATUS_SUCCESS;
}

/* Blocks */

static pthread_mutex_t memlist_mutex = PTHREAD_MUTEX_INITIALIZER;
static std::atomic<orka_llist_t *> memlist = nullptr;

static void make_valid(orka_imem_handle_t &handle)
{
    handle.version = ORKA_IMEM_VERSION;
    handle.magic = ORKA_IMEM_MAGIC;
}

static bool is_valid(const orka_imem_handle_t &handle)
{
    return handle.magic == ORKA_IMEM_MAGIC && handle.version == ORKA_IMEM_VERSION;
}

static void release_handle(orka_imem_handle_t *handle)
{
    explicit_bzero(handle, sizeof *handle);
    free(handle);
}

static orka_imem_handle_t *allocate_handle()
{
    void *memory = malloc(sizeof(orka_imem_handle_t));

    if (memory != nullptr)
        memset(memory, 0, sizeof(orka_imem_handle_t));
    return static_cast<orka_imem_handle_t *>(memory);
}

/* The list of blocks, made by the first who needs it. */
static orka_llist_t *obtain_memlist(const call_site &site)
{
    orka_pthread_mutex_lock_or_die(&memlist_mutex);
    if (memlist.load(std::memory_order_relaxed) == nullptr)
        memlist.store(orka_llist_init(), std::memory_order_release);
    orka_llist_t *list = memlist.load(std::memory_order_relaxed);
    if (list == nullptr)
        report_error(site, "Error Allocating MemList.");
    orka_pthread_mutex_unlock_or_die(&memlist_mutex);
    return list;
}

int32_t orka_imem_memhandle_cmp(uintptr_t handle, uintptr_t vaddr)
{
    const auto *entry = reinterpret_cast<const orka_imem_handle_t *>(handle);

    if (entry == nullptr || vaddr == 0) {
        report_error(HERE, "Null Pointer Deref.");
        return -1;
    }
    if (!is_valid(*entry)) {
        report_error(HERE, "Invalid IMEM Handle.");
        return -1;
    }
    if (entry->vaddr == vaddr)
        return 0;
    return entry->vaddr > vaddr ? 1 : -1;
}

/*
 * Gets a block from the driver, maps it and lists it. What fails after the driver gave the block leaves it
 * with the driver, and mapped where it was: kept on purpose.
 */
static bool fill_handle(const call_site &site, int32_t fd, orka_llist_t *list, orka_imem_handle_t &handle,
                        uint32_t size)
{
    handle.maplen = size + ORKA_IMEM_PADDING;

    uint32_t record = handle.maplen;
    if (ioctl(fd, IMANAGE_ALLOC, &record) < 0) {
        const int saved_errno = errno;
        report_error_errno(saved_errno, site, "Allocating %d bytes of Memory.", size);
        return false;
    }
    handle.paddr = record;
    handle.ppage = static_cast<uint32_t>(orka_imem_get_pageaddr(handle.paddr));

    void *mapped = orka_imem_mmap_actual(handle.ppage, handle.maplen, PROT_READ | PROT_WRITE);
    const int saved_errno = errno;
    if (mapped == nullptr) {
        report_error_errno(saved_errno, site, "Mapping Memory to Virtual.");
        return false;
    }
    handle.vmap = word_of(mapped);
    handle.vaddr = handle.vmap + ORKA_IMEM_PADDING;

    /* Once listed, it is seen by whoever frees another block. */
    make_valid(handle);
    if (orka_llist_enqueue(list, reinterpret_cast<uintptr_t>(&handle)) != ORKA_STATUS_SUCCESS) {
        report_error(site, "Adding MemHandle to the List.");
        return false;
    }
    return true;
}

void *orka_imem_alloc(uint32_t size)
{
    if (orka_imem_get_pagesize() > static_cast<int32_t>(ORKA_IMEM_PADDING))
        report_fatal(HERE, "Padding is Smaller than Page Size.");

    const int32_t fd = orka_idevice_imanage_fd();
    if (fd < 0) {
        orka_no_node(HERE, no_imanage);
        return nullptr;
    }

    orka_llist_t *list = obtain_memlist(HERE);
    if (list == nullptr)
        return nullptr;

    orka_imem_handle_t *handle = allocate_handle();
    const int saved_errno = errno;
    if (handle == nullptr) {
        report_error_errno(saved_errno, HERE, "Allocating Memory for Handle.");
        return nullptr;
    }
    if (!fill_handle(HERE, fd, list, *handle, size)) {
        release_handle(handle);
        return nullptr;
    }
    return pointer_of(handle->vaddr);
}

/* Gives a listed block back; goes on to the driver whatever unmapping says. */
static orka_status_t return_block(const call_site &site, int32_t fd, orka_imem_handle_t &handle)
{
    orka_status_t status = ORKA_STATUS_SUCCESS;

    if (orka_imem_munmap(pointer_of(handle.vmap), handle.maplen) != ORKA_STATUS_SUCCESS) {
        const int saved_errno = errno;
        report_error_errno(saved_errno, site, "UnMapping IMEM.");
        status = ORKA_STATUS_CRUNTIME;
    }

    uint32_t record = handle.paddr;
    if (ioctl(fd, IMANAGE_FREE, &record) < 0) {
        const int saved_errno = errno;
        report_error_errno(saved_errno, site, "Freeing IMEM.");
        status = ORKA_STATUS_IO;
    }
    return status;
}

orka_status_t orka_imem_free(void *vaddr)
{
    ORKA_ASSERT_NOT_NULL(vaddr);

    const int32_t fd = orka_idevice_imanage_fd();
    if (fd < 0)
        return orka_no_node(HERE, no_imanage);

    auto *handle = reinterpret_cast<orka_imem_handle_t *>(
        orka_llist_delete(memlist.load(std::memory_order_acquire), orka_imem_memhandle_cmp,
                          reinterpret_cast<uintptr_t>(vaddr)));
    if (handle == nullptr) {
        report_error(HERE, "Locating IMEM Entry for 0x%08X.", word_of(vaddr));
        return ORKA_STATUS_INVALID_PARAMETER;
    }

    orka_status_t status = ORKA_STATUS_INITIALIZATION;
    if (is_valid(*handle))
        status = return_block(HERE, fd, *handle);
    else
        report_error(HERE, "IMEM Entry for 0x%08X is Unvalid.", word_of(vaddr));
    release_handle(handle);
    return status;
}

/* The manager */

orka_status_t orka_imem_reset(void)
{
    return orka_control(HERE, orka_idevice_imanage_fd(), no_imanage, IMANAGE_RESET, nullptr,
                        "Requesting IMEM Reset.");
}

orka_status_t orka_imem_load_dsp_codec(const char *codec_name)
{
    const int32_t fd = orka_idevice_imanage_fd();

    ORKA_ASSERT_NOT_NULL(codec_name);
    return orka_control(HERE, fd, no_imanage, IMANAGE_LOAD, codec_name, "Loading DSP Codec '%s'.",
                        codec_name);
}

/* The DSP's memory window */

static constexpr uint32_t dspmembase = 0x40000;
static constexpr uint32_t dspmemsize = 0x20000; /* bytes */

static pthread_mutex_t dspmem_mutex = PTHREAD_MUTEX_INITIALIZER;
static std::atomic<void *> dspreadptr = nullptr;

uint32_t orka_imem_get_dsp_memory_size(void)
{
    return dspmemsize != 0 ? dspmemsize / sizeof(uint16_t) : UINT32_MAX;
}

static void *map_window(const call_site &site, int protection)
{
    void *mapped = orka_imem_mmap_actual(dspmembase, dspmemsize, protection);
    const int saved_errno = errno;

    if (mapped == nullptr)
        report_error_errno(saved_errno, site, "Mapping DSP Memory.");
    return mapped;
}

void *orka_imem_get_dsp_memory_ptr(void)
{
    orka_pthread_mutex_lock_or_die(&dspmem_mutex);
    void *window = dspreadptr.load(std::memory_order_relaxed);
    if (window == nullptr) {
        window = map_window(HERE, PROT_READ);
        dspreadptr.store(window, std::memory_order_release);
    }
    orka_pthread_mutex_unlock_or_die(&dspmem_mutex);
    return window;
}

void *orka_imem_get_dsp_memory_write_ptr(void)
{
    return map_window(HERE, PROT_READ | PROT_WRITE);
}

orka_status_t orka_imem_free_dsp_memory_ptr(void *pointer)
{
    orka_pthread_mutex_lock_or_die(&dspmem_mutex);
    const bool is_cached = pointer == dspreadptr.load(std::memory_order_relaxed);
    orka_pthread_mutex_unlock_or_die(&dspmem_mutex);
    if (is_cached)
        return ORKA_STATUS_SUCCESS;

    const orka_status_t status = orka_imem_munmap_actual(pointer, dspmemsize);
    if (status != ORKA_STATUS_SUCCESS)
        report_error(HERE, "Unmapping DSP Memory.");
    return status;
}

orka_status_t orka_imem_read_dsp_memory(uint16_t *value, uint32_t index)
{
    const void *window = dspreadptr.load(std::memory_order_acquire);

    if (window == nullptr)
        window = orka_imem_get_dsp_memory_ptr();
    if (window == nullptr) {
        report_error(HERE, "Mapping DSP Memory.");
        return ORKA_STATUS_ERROR;
    }
    *value = static_cast<const volatile uint16_t *>(window)[index];
    return ORKA_STATUS_SUCCESS;
}

orka_status_t orka_imem_write_dsp_memory(uint16_t value, uint32_t index)
{
    void *window = orka_imem_get_dsp_memory_write_ptr();

    if (window == nullptr) {
        report_error(HERE, "Mapping DSP Memory.");
        return ORKA_STATUS_ERROR;
    }
    static_cast<volatile uint16_t *>(window)[index] = value;

    orka_status_t status = ORKA_STATUS_SUCCESS;
    if (orka_imem_msync(window, dspmemsize) != ORKA_STATUS_SUCCESS) {
        const int saved_errno = errno;
        report_error_errno(saved_errno, HERE, "Synching Memory.");
        status = ORKA_STATUS_ERROR;
    }
    if (orka_imem_munmap_actual(window, dspmemsize) != ORKA_STATUS_SUCCESS) {
        report_error(HERE, "Unmapping DSP Memory.");
        status = ORKA_STATUS_ERROR;
    }
    return status;
}

/* Serial ports */

/* A request to a port, with a second line where it fails: the image on the DSP may know nothing of it. */
static orka_status_t ask_port(const call_site &site, int32_t fd, uint32_t request, void *record,
                              const char *failed)
{
    if (ioctl(fd, request, record) != 0) {
        const int saved_errno = errno;
        report_error_errno(saved_errno, site, "%s", failed);
        report_error_errno(saved_errno, site, "Feature Not Supported by DSP Image?");
        return ORKA_STATUS_IO;
    }
    return ORKA_STATUS_SUCCESS;
}

orka_status_t orka_imem_read_mcbsp_register(orka_imem_mcbsp_registers_t *registers, uint16_t port)
{
    if (registers == nullptr)
        return orka_null_pointer(HERE);
    const int32_t fd = orka_idevice_imanage_fd();
    if (fd < 0)
        return orka_no_node(HERE, no_imanage);

    *registers = {.port = port};
    return ask_port(HERE, fd, IMANAGE_READ_MCBSP, registers, "Reading McBSP Registers.");
}

orka_status_t orka_imem_write_mcbsp_register(uint16_t port, uint16_t address, uint16_t value)
{
    const int32_t fd = orka_idevice_imanage_fd();
    if (fd < 0)
        return orka_no_node(HERE, no_imanage);

    mcbsp_write_record record = {.port = port, .address = address, .value = value};
    return ask_port(HERE, fd, IMANAGE_WRITE_MCBSP, &record, "Writing McBSP Registers.");
}

__attribute__((format(printf, 1, 2))) static void print_line(const char *format, ...)
{
    va_list arguments;

    va_start(arguments, format);
    vprintf(format, arguments);
    va_end(arguments);
    fflush(stdout);
}

orka_status_t orka_imem_print_mcbsp_register(uint16_t port)
{
    orka_imem_mcbsp_registers_t registers;
    const orka_status_t status = orka_imem_read_mcbsp_register(&registers, port);
    if (status != ORKA_STATUS_SUCCESS)
        return status;

    print_line("%s McBSP %u Registers:\n", pname, port);
    print_line("\tAddr   Value\n");
    print_line("\t====== ======\n");
    for (const orka_imem_mcbsp_register_t &row : registers.rows)
        print_line("\t %04X  %04X\n", row.address, row.value);
    print_line("\n\n");
    return ORKA_STATUS_SUCCESS;
}
