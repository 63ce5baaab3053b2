/*
 * The inside of the mode tables: what display and capture share of them, and the display's search.
 *
 * A table's rows have a device and a mode, which are names, a width and a height, and whether the picture is
 * interlaced; its first row is the one taken where nothing was asked for or found.
 */
#ifndef ORKA_IDISPLAY_INTERNAL_H
#define ORKA_IDISPLAY_INTERNAL_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <strings.h>

#include "common/orka_print_internal.h"
#include "common/orka_status_internal.h"
#include "orka_idisplay.h"

/* What a request asks for by name; null where anything will do. */
struct wanted_names {
    const char *device;
    const char *mode;
};

inline const char *name_or_null(const char *name)
{
    return name != nullptr && *name != '\0' ? name : nullptr;
}

inline wanted_names names_of(const orka_display_request_t *request)
{
    if (request == nullptr)
        return {};
    return {.device = name_or_null(request->device), .mode = name_or_null(request->mode)};
}

/* The first row of a device; the number of rows where there is none. */
template <typename Row>
size_t find_device(std::span<const Row> table, const char *device)
{
    size_t index = 0;

    while (index < table.size() && strcasecmp(table[index].device, device) != 0)
        index++;
    return index;
}

/* Says which row a search looks at. */
template <typename Row>
void report_row(const call_site &site, const Row &row)
{
    report_warning(site, "Device name [%s] Mode [%s].", row.device, row.mode);
}

/* "device mode (widthxheight) Interlaced" or "... Progressive", for each row. */
template <typename Row>
void print_mode_table(std::span<const Row> table, FILE *stream, const char *prefix, const char *separator,
                      const char *suffix)
{
    print_list(stream, prefix, separator, suffix, table, [stream](const Row &row) {
        fprintf(stream, "%s %s (%ux%u) %s", row.device, row.mode, row.width, row.height,
                row.interlaced == 1 ? "Interlaced" : "Progressive");
    });
}

/* Whether an address lies in buffers that are mapped at base. Kept on purpose: their end counts too. */
inline bool is_in_buffers(const void *address, const void *base, uint32_t size)
{
    const auto at = reinterpret_cast<uintptr_t>(address);
    const auto first = reinterpret_cast<uintptr_t>(base);

    return at >= first && at <= first + size;
}

/*
 * Copies the row of a display table that serves a request, which may be null, best; what was looked at on the
 * way is told as warnings. ORKA_STATUS_NULL_POINTER without out, ORKA_STATUS_ERROR for a table without rows.
 */
orka_status_t find_display_params(orka_display_params_t *out, const orka_display_request_t *request,
                                  std::span<const orka_display_params_t> table);

#endif
