#include "orka_bstime.h"

#include <cstdlib>
#include <cstring>

#include "common/orka_bstime_internal.h"
#include "common/orka_status_internal.h"

static constexpr char pname[] = "ORKA_BSTIME:";

static orka_status_t orka_bstime_check_handle(const orka_bstime_t *handle)
{
    if (handle == nullptr) {
        report_error(HERE, "Handle is NULL.");
        return ORKA_STATUS_NULL_POINTER;
    }
    if (handle->alive != 1 || handle->magic != orka_bstime_magic) {
        report_error(HERE, "Invalid BSTime Handle.");
        return ORKA_STATUS_INITIALIZATION;
    }
    return ORKA_STATUS_SUCCESS;
}

/* Kept on purpose: a bad handle is reported twice, by the check and by the operation that it was given to. */
static orka_status_t check(const orka_bstime_t *handle, const call_site &site)
{
    const orka_status_t status = orka_bstime_check_handle(handle);

    if (status != ORKA_STATUS_SUCCESS)
        report_error(site, "Invalid BSTime Handle.");
    return status;
}

static void forget_entries(orka_bstime_t *handle)
{
    memset(handle->entries, 0, sizeof handle->entries);
    handle->write = handle->entries;
    handle->read = handle->entries;
}

static orka_bstime_entry *entry_after(orka_bstime_t *handle, const orka_bstime_entry *entry)
{
    const ptrdiff_t next = entry - handle->entries + 1;

    return &handle->entries[next == orka_bstime_entries ? 0 : next];
}

orka_bstime_t *orka_bstime_init(void)
{
    void *memory = malloc(sizeof(orka_bstime_t));

    if (memory == nullptr) {
        report_error(HERE, "Allocating BSTime Handle.");
        return nullptr;
    }

    orka_bstime_t *handle = static_cast<orka_bstime_t *>(memory);
    handle->magic = orka_bstime_magic;
    handle->alive = 1;
    forget_entries(handle);
    return handle;
}

orka_status_t orka_bstime_destroy(orka_bstime_t *handle)
{
    const orka_status_t status = check(handle, HERE);

    if (status != ORKA_STATUS_SUCCESS)
        return status;
    explicit_bzero(handle, sizeof *handle);
    free(handle);
    return ORKA_STATUS_SUCCESS;
}

orka_status_t orka_bstime_new_entry(orka_bstime_t *handle, const orka_iencode_frame_t *frame)
{
    const orka_status_t status = check(handle, HERE);

    if (status != ORKA_STATUS_SUCCESS)
        return status;
    if (frame->size == 0)
        return ORKA_STATUS_SUCCESS;

    handle->write->time = frame->timestamp;
    handle->write->bytes = frame->size;
    handle->write->used = 0;
    handle->write = entry_after(handle, handle->write);
    handle->write->prev_time = frame->timestamp;
    handle->write->prev_bytes = frame->size;
    return ORKA_STATUS_SUCCESS;
}

int32_t orka_bstime_bytes_used(orka_bstime_t *handle, uint32_t count)
{
    const orka_status_t status = check(handle, HERE);

    if (status != ORKA_STATUS_SUCCESS)
        return status;

    while (count != 0) {
        orka_bstime_entry *entry = handle->read;

        if (entry == handle->write)
            return -1;
        const uint32_t left = entry->bytes - entry->used;
        if (left >= count) {
            entry->used += count;
            return 0;
        }
        count -= left;
        entry->used = entry->bytes;
        handle->read = entry_after(handle, entry);
    }
    return 0;
}

/* The time that an entry's used bytes take at the byte rate of the frame before it, in ms. */
static uint32_t time_at_previous_rate(const orka_bstime_entry *entry)
{
    const uint32_t elapsed = entry->time - entry->prev_time;
    const uint32_t rate = elapsed != 0 ? entry->prev_bytes * 1000 / elapsed : 0;

    return rate != 0 ? entry->used * 1000 / rate : 0;
}

uint32_t orka_bstime_get_bistream_time(orka_bstime_t *handle)
{
    const orka_status_t status = check(handle, HERE);

    if (status != ORKA_STATUS_SUCCESS)
        return static_cast<uint32_t>(status);

    orka_bstime_entry *entry = handle->read;
    if (entry->bytes == 0)
        return 0;

    const orka_bstime_entry *next = entry_after(handle, entry);
    if (next != handle->write && next->time >= entry->time)
        entry->time += entry->used * (next->time - entry->time) / entry->bytes;
    else
        entry->time += time_at_previous_rate(entry);
    entry->bytes -= entry->used;
    entry->used = 0;
    return entry->time;
}

orka_status_t orka_bstime_reset(orka_bstime_t *handle)
{
    const orka_status_t status = check(handle, HERE);

    if (status == ORKA_STATUS_SUCCESS)
        forget_entries(handle);
    return status;
}
