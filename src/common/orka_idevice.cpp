#include "common/orka_idevice_internal.h"

#include <cstdlib>
#include <fcntl.h>
#include <iterator>
#include <span>

#include "common/orka_pthread_internal.h"
#include "orka_file.h"

static constexpr char pname[] = "ORKA_IDEVICE:";

/* Devices */

static pthread_mutex_t imem_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t imanage_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t iencode_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t iaencode_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t ivencode_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t ivmvencode_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t idecode_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t iadecode_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t ivdecode_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t dtmf_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t subtl_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t win_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t irender_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t icap_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t imgdec_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t imgenc_mutex = PTHREAD_MUTEX_INITIALIZER;

static constinit orka_device imem = {
    .node = "/dev/mem",
    .flags = O_RDWR | O_SYNC,
    .failure = "Opening IMEM Device '%s'.",
    .printed = "/dev/mem",
    .mutex = &imem_mutex,
    .fd = -1,
};

static constinit orka_device imanage = {
    .node = "/dev/imanage",
    .flags = O_RDWR,
    .failure = "Opening IMANAGE Device '%s'.",
    .printed = "/dev/imanage",
    .mutex = &imanage_mutex,
    .fd = -1,
};

static constinit orka_device iencode = {
    .node = "/dev/iencode",
    .flags = O_RDWR,
    .failure = "Opening IENCODE Device '%s'.",
    .printed = "/dev/iencode",
    .mutex = &iencode_mutex,
    .fd = -1,
};

/* Kept on purpose, here and in the two decoders below: the message says what it says. */
constinit orka_device orka_iaencode_device = {
    .node = "/dev/aencode",
    .fallback = "/dev/aencode0",
    .flags = O_RDWR,
    .failure = "Opening IADECODE Device '%s'.",
    .printed = "/dev/idecode",
    .mutex = &iaencode_mutex,
    .fd = -1,
};

static constexpr int32_t ivencode_num_channels = 4;
static constinit orka_device ivencode_channels[] = {
    {"/dev/vencode0", nullptr, O_RDWR, "Opening IVENCODE Device '%s'.", "/dev/vencode0", &ivencode_mutex, -1},
    {"/dev/vencode1", nullptr, O_RDWR, "Opening IVENCODE Device '%s'.", "/dev/vencode1", &ivencode_mutex, -1},
    {"/dev/vencode2", nullptr, O_RDWR, "Opening IVENCODE Device '%s'.", "/dev/vencode2", &ivencode_mutex, -1},
    {"/dev/vencode3", nullptr, O_RDWR, "Opening IVENCODE Device '%s'.", "/dev/vencode3", &ivencode_mutex, -1},
};
static_assert(std::size(ivencode_channels) == ivencode_num_channels);

static constexpr int32_t ivmvencode_num_channels = 4;
static constinit orka_device ivmvencode_channels[] = {
    {"/dev/vmvencode0", nullptr, O_RDWR, "Opening IVMVENCODE Device '%s'.", "/dev/vmvencode0",
     &ivmvencode_mutex, -1},
    {"/dev/vmvencode1", nullptr, O_RDWR, "Opening IVMVENCODE Device '%s'.", "/dev/vmvencode1",
     &ivmvencode_mutex, -1},
    {"/dev/vmvencode2", nullptr, O_RDWR, "Opening IVMVENCODE Device '%s'.", "/dev/vmvencode2",
     &ivmvencode_mutex, -1},
    {"/dev/vmvencode3", nullptr, O_RDWR, "Opening IVMVENCODE Device '%s'.", "/dev/vmvencode3",
     &ivmvencode_mutex, -1},
};
static_assert(std::size(ivmvencode_channels) == ivmvencode_num_channels);

static constinit orka_device idecode = {
    .node = "/dev/idecode",
    .flags = O_RDWR,
    .failure = "Opening IDECODE Device '%s'.",
    .printed = "/dev/idecode",
    .mutex = &idecode_mutex,
    .fd = -1,
};

constinit orka_device orka_iadecode_device = {
    .node = "/dev/adecode",
    .fallback = "/dev/adecode0",
    .flags = O_RDWR,
    .failure = "Opening IADECODE Device '%s'.",
    .printed = "/dev/idecode",
    .mutex = &iadecode_mutex,
    .fd = -1,
};

constinit orka_device orka_ivdecode_device = {
    .node = "/dev/vdecode",
    .fallback = "/dev/vdecode0",
    .flags = O_RDWR,
    .failure = "Opening IVDECODE Device '%s'.",
    .printed = "/dev/idecode",
    .mutex = &ivdecode_mutex,
    .fd = -1,
};

static constinit orka_device dtmf = {
    .node = "/dev/dtmfdecode",
    .flags = O_RDWR,
    .failure = "Opening DTMF Decode Device '%s'.",
    .printed = "/dev/dtmfdecode",
    .mutex = &dtmf_mutex,
    .fd = -1,
};

static constinit orka_device subtl = {
    .node = "/dev/subtldecode",
    .flags = O_RDWR,
    .failure = "Opening Subtitle Decode Device '%s'.",
    .printed = "/dev/subtldecode",
    .mutex = &subtl_mutex,
    .fd = -1,
};

static constinit orka_device windisp = {
    .node = "/dev/windisp",
    .flags = O_RDWR,
    .failure = "Opening Window Display Device '%s'.",
    .printed = "/dev/windisp",
    .mutex = &win_mutex,
    .fd = -1,
};

static constinit orka_device irender = {
    .node = "/dev/irender",
    .flags = O_RDWR,
    .failure = "Opening iRender Device '%s'.",
    .printed = "/dev/irender",
    .mutex = &irender_mutex,
    .fd = -1,
};

static constinit orka_device icap = {
    .node = "/dev/icapture",
    .fallback = "/dev/icap",
    .flags = O_RDWR,
    .failure = "Opening ICapture Device '%s'.",
    .printed = "/dev/icapture",
    .mutex = &icap_mutex,
    .fd = -1,
};

static constinit orka_device imgdec = {
    .node = "/dev/imgdecode",
    .fallback = "/dev/imgd0",
    .flags = O_RDWR,
    .failure = "Opening Image Decoding and Display Device '%s'.",
    .printed = "/dev/imgdecode",
    .mutex = &imgdec_mutex,
    .fd = -1,
};

static constinit orka_device imgenc = {
    .node = "/dev/imgencode",
    .fallback = "/dev/imgenc",
    .flags = O_RDWR,
    .failure = "Opening Image Encoding Device '%s'.",
    .printed = "/dev/imgencode",
    .mutex = &imgenc_mutex,
    .fd = -1,
};

/* Opening */

static int32_t cached_fd(const orka_device &device)
{
    return device.fd.load(std::memory_order_acquire);
}

static int32_t open_node(const orka_device &device)
{
    const int32_t fd = orka_file_open_fd(device.node, device.flags, 0);

    if (fd >= 0 || device.fallback == nullptr)
        return fd;
    return orka_file_open_fd(device.fallback, device.flags, 0);
}

/* With the device locked. */
static void open_if_closed(const call_site &site, orka_device &device)
{
    if (cached_fd(device) >= 1)
        return;

    const int32_t fd = open_node(device);
    const int saved_errno = errno;

    if (fd < 0) {
        report_error_errno(saved_errno, site, device.failure, device.printed);
        device.fd.store(-1, std::memory_order_release);
        return;
    }
    device.fd.store(fd, std::memory_order_release);
    orka_idevice_register_close_atexit();
}

__attribute__((cold, noinline)) static int32_t open_device(const call_site &site, orka_device &device)
{
    lock_or_die(device.mutex);
    open_if_closed(site, device);
    unlock_or_die(device.mutex);
    return cached_fd(device);
}

static inline int32_t device_fd(const call_site &site, orka_device &device)
{
    const int32_t fd = cached_fd(device);

    if (fd > 0)
        return fd;
    return open_device(site, device);
}

/* A channel that is none is not reported. */
static int32_t channel_fd(const call_site &site, std::span<orka_device> channels, int32_t channel)
{
    if (channel < 0 || static_cast<size_t>(channel) >= channels.size())
        return -1;
    return device_fd(site, channels[static_cast<size_t>(channel)]);
}

int32_t orka_idevice_imem_fd(void)
{
    if (cached_fd(imem) <= 0) {
        lock_or_die(&imem_mutex);
        open_if_closed(HERE, imem);
    }
    /* Kept on purpose: where the node was open, this unlocks what was not locked. */
    unlock_or_die(&imem_mutex);
    return cached_fd(imem);
}

int32_t orka_idevice_imanage_fd(void)
{
    return device_fd(HERE, imanage);
}

int32_t orka_idevice_iencode_fd(void)
{
    return device_fd(HERE, iencode);
}

int32_t orka_idevice_iaencode_fd(void)
{
    return device_fd(HERE, orka_iaencode_device);
}

int32_t orka_idevice_ivencode_fd(int32_t channel)
{
    return channel_fd(HERE, ivencode_channels, channel);
}

int32_t orka_idevice_ivmvencode_fd(int32_t channel)
{
    return channel_fd(HERE, ivmvencode_channels, channel);
}

int32_t orka_idevice_idecode_fd(void)
{
    return device_fd(HERE, idecode);
}

int32_t orka_idevice_iadecode_fd(void)
{
    return device_fd(HERE, orka_iadecode_device);
}

int32_t orka_idevice_ivdecode_fd(void)
{
    return device_fd(HERE, orka_ivdecode_device);
}

int32_t orka_idevice_dtmf_fd(void)
{
    return device_fd(HERE, dtmf);
}

int32_t orka_idevice_subtitle_fd(void)
{
    return device_fd(HERE, subtl);
}

int32_t orka_idevice_windisp_fd(void)
{
    return device_fd(HERE, windisp);
}

int32_t orka_idevice_irender_fd(void)
{
    return device_fd(HERE, irender);
}

int32_t orka_idevice_icap_fd(void)
{
    return device_fd(HERE, icap);
}

int32_t orka_idevice_imgdec_fd(void)
{
    return device_fd(HERE, imgdec);
}

int32_t orka_idevice_imgenc_fd(void)
{
    return device_fd(HERE, imgenc);
}

/* Closing on request */

static int32_t close_device(const call_site &site, orka_device &device, const char *failure)
{
    int32_t result = 0;

    lock_or_die(device.mutex);
    if (cached_fd(device) != -1) {
        result = orka_file_close_fd(cached_fd(device));
        if (result != 0)
            report_error(site, "%s", failure);
        device.fd.store(-1, std::memory_order_release);
    }
    unlock_or_die(device.mutex);
    return result;
}

int32_t orka_idevice_windisp_fd_close(void)
{
    return close_device(HERE, windisp, "Closing WinDisp FD.");
}

int32_t orka_idevice_irender_fd_close(void)
{
    return close_device(HERE, irender, "Closing iRender FD.");
}

int32_t orka_idevice_icap_fd_close(void)
{
    return close_device(HERE, icap, "Closing ICapture FD.");
}

int32_t orka_idevice_imgdec_fd_close(void)
{
    return close_device(HERE, imgdec, "Closing Image Decoding and Display FD.");
}

int32_t orka_idevice_imgenc_fd_close(void)
{
    return close_device(HERE, imgenc, "Closing Image Encoding FD.");
}

/* Closing at exit */

static pthread_mutex_t cleanup_mutex = PTHREAD_MUTEX_INITIALIZER;
static std::atomic<int32_t> cleanup_initialized = 0;

void orka_idevice_register_close_atexit(void)
{
    if (cleanup_initialized.load(std::memory_order_relaxed) != 0)
        return;

    lock_or_die(&cleanup_mutex);
    if (cleanup_initialized.load(std::memory_order_relaxed) == 0) {
        const int result = atexit(orka_idevice_close_atexit);
        const int saved_errno = errno;

        if (result != 0)
            report_error_errno(saved_errno, HERE, "Registering atexit() function.");
        else
            cleanup_initialized.store(1, std::memory_order_relaxed);
    }
    unlock_or_die(&cleanup_mutex);
}

/* Devices that share a mutex. The descriptor that is marked closed is that of the same device, as a rule. */
static void close_at_exit(std::span<orka_device> devices, std::atomic<int32_t> *marked = nullptr)
{
    pthread_mutex_t *mutex = devices.front().mutex;

    orka_pthread_mutex_lock(mutex);
    for (orka_device &device : devices) {
        if (cached_fd(device) == -1)
            continue;
        orka_file_close_fd(cached_fd(device));
        (marked != nullptr ? *marked : device.fd).store(-1, std::memory_order_release);
    }
    orka_pthread_mutex_unlock(mutex);
}

void orka_idevice_close_atexit(void)
{
    close_at_exit({&imem, 1});
    close_at_exit({&imanage, 1});
    close_at_exit({&iencode, 1});
    close_at_exit({&orka_iaencode_device, 1});
    close_at_exit(ivencode_channels);
    close_at_exit(ivmvencode_channels);
    close_at_exit({&idecode, 1});
    close_at_exit({&orka_iadecode_device, 1});
    close_at_exit({&orka_ivdecode_device, 1});
    close_at_exit({&dtmf, 1});
    close_at_exit({&subtl, 1});
    close_at_exit({&windisp, 1});
    close_at_exit({&irender, 1});
    /* Kept on purpose: capture keeps its stale descriptor, and the display is marked closed instead. */
    close_at_exit({&icap, 1}, &windisp.fd);
    close_at_exit({&imgdec, 1});
    close_at_exit({&imgenc, 1});
}
