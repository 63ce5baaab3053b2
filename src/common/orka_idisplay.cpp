#include "orka_idisplay.h"

#include <cstdio>
#include <cstring>
#include <iterator>
#include <span>
#include <strings.h>

#include "common/orka_idevice_internal.h"
#include "common/orka_idisplay_internal.h"
#include "common/orka_imem_internal.h"
#include "wire/orka_idisplay_wire.h"

using namespace orka::wire;

static constexpr char pname[] = "ORKA_IDISPLAY:";

static constexpr char no_idecode[] = "Obtaining IDecode FD.";

/* Modes */

static constexpr int32_t unresolved = -1;

static constexpr orka_display_params_t orka_idisplay_params[] = {
    {.device = "INTERNAL",
     .mode = "480i",
     .width = 720,
     .height = 480,
     .interlaced = 1,
     .words = {0, 1, 1, 8, 8},
     .resize = unresolved,
     .pe_width = 640,
     .pe_height = 480},
    {.device = "INTERNAL",
     .mode = "576i",
     .width = 720,
     .height = 576,
     .interlaced = 1,
     .words = {0, 1, 1, 8, 8},
     .resize = unresolved,
     .pe_width = 640,
     .pe_height = 576},
    {.device = "LCD",
     .mode = "VGA",
     .width = 640,
     .height = 480,
     .words = {0, 1, 1, 8, 8},
     .resize = unresolved,
     .pe_width = 640,
     .pe_height = 480},
    {.device = "LCD",
     .mode = "QVGA",
     .width = 320,
     .height = 240,
     .words = {0, 1, 1, 8, 8},
     .resize = unresolved,
     .pe_width = 320,
     .pe_height = 240},
};
static constexpr size_t orka_idisplay_params_count = 4;
static_assert(std::size(orka_idisplay_params) == orka_idisplay_params_count);

void orka_idisplay_print_modes(FILE *stream, const char *prefix, const char *separator, const char *suffix)
{
    print_mode_table<orka_display_params_t>(orka_idisplay_params, stream, prefix, separator, suffix);
}

static const orka_display_params_t *find_mode(std::span<const orka_display_params_t> table, const char *mode)
{
    for (const orka_display_params_t &row : table) {
        if (strcasecmp(row.mode, mode) == 0)
            return &row;
    }
    return nullptr;
}

/* The row that serves best by its names, or null. */
static const orka_display_params_t *choose_row(const call_site &site, const wanted_names &wanted,
                                               std::span<const orka_display_params_t> table)
{
    if (wanted.device == nullptr)
        return wanted.mode == nullptr ? table.data() : find_mode(table, wanted.mode);

    const size_t at = find_device(table, wanted.device);
    if (at == table.size())
        return nullptr;
    if (wanted.mode == nullptr)
        return &table[at];

    /* Kept on purpose: the mode of the device's first row is not looked at; that row is what remains. */
    for (const orka_display_params_t &row : table.subspan(at + 1)) {
        report_row(site, row);
        if (strcasecmp(row.device, wanted.device) == 0 && strcasecmp(row.mode, wanted.mode) == 0)
            return &row;
    }
    return &table[at];
}

orka_status_t find_display_params(orka_display_params_t *out, const orka_display_request_t *request,
                                  std::span<const orka_display_params_t> table)
{
    if (out == nullptr)
        return orka_null_pointer(HERE);
    *out = {};
    if (table.empty()) {
        report_error(HERE, "No Display Parameters Defined.");
        return ORKA_STATUS_ERROR;
    }

    const orka_display_params_t *row = choose_row(HERE, names_of(request), table);
    if (row == nullptr) {
        report_warning(HERE, "Finding Requested Display Mode. Using Defaults.");
        row = table.data();
    }
    *out = *row;
    return ORKA_STATUS_SUCCESS;
}

/* Fitting a picture into the picture area */

/* Lines of 480 become lines of 576, and that is told. */
static uint32_t lines_for_pal(uint32_t lines)
{
    printf("WARNING:%s resizing for PAL mode.\n", pname);
    fflush(stdout);
    return lines * 6 / 5;
}

static bool is_pal(const orka_display_request_t &request)
{
    return request.mode != nullptr && strcmp(request.mode, "576i") == 0;
}

/* The scaler's steps. */
static void align(orka_display_params_t &params)
{
    params.pe_width &= ~UINT32_C(31);
    params.pe_height &= ~UINT32_C(15);
}

/*
 * Scales width by height into the area that pe_width by pe_height give, and keeps its shape. Which of the two
 * meets its limit is told by the shapes, multiplied out: the relative excesses, or shortfalls, compare just
 * so, and no processor rounds here. All else is arithmetic of 32 bits, which wraps on purpose.
 */
static void scale_picture(orka_display_params_t &params, uint32_t width, uint32_t height)
{
    const uint32_t max_width = params.pe_width;
    const uint32_t max_height = params.pe_height;

    params.resize = 1;
    if (uint64_t{width} * max_height >= uint64_t{height} * max_width) {
        params.pe_height = max_width * height / width;
    } else {
        params.pe_width = max_height * width / height;
        /* Kept on purpose: what it has above a multiple of 16 is added to it, not made up to the next one. */
        if (width <= max_width && height > max_height)
            params.pe_width += params.pe_width % 16;
    }
    align(params);
}

static void fit_picture(orka_display_params_t &params, const orka_display_request_t &request)
{
    const uint32_t width = request.width;
    uint32_t height = request.height;

    if (is_pal(request)) {
        height = lines_for_pal(height);
        params.resize = 1;
    }
    if ((width == params.pe_width && height <= params.pe_height) ||
        (height == params.pe_height && width <= params.pe_width)) {
        params.pe_width = width;
        params.pe_height = height;
        return;
    }
    scale_picture(params, width, height);
}

orka_status_t orka_idisplay_get_display_params(orka_display_params_t *out,
                                               const orka_display_request_t *request)
{
    if (out == nullptr)
        return orka_null_pointer(HERE);

    const orka_status_t status = find_display_params(out, request, orka_idisplay_params);
    /* The search fails for a table without rows alone, and this one has some. GCOVR_EXCL_START */
    if (status != ORKA_STATUS_SUCCESS) {
        report_error(HERE, "Getting Display Parameters.");
        return status;
    }
    /* GCOVR_EXCL_STOP */

    const orka_display_request_t source = request != nullptr ? *request : orka_display_request_t{};
    out->src_width = source.width != 0 ? source.width : out->width;
    out->src_height = source.height != 0 ? source.height : out->height;
    /* As all rows of the table, this one was unresolved. */
    out->resize = 0;
    if (source.width != 0 && source.height != 0)
        fit_picture(*out, source);
    return ORKA_STATUS_SUCCESS;
}

/* Outputs */

static ORKA_INLINE orka_status_t control_display(const call_site &site, uint32_t request, const void *record,
                                                 orka_message<> refused)
{
    return orka_command(site, orka_idevice_idecode_fd(), no_idecode, request, record, refused);
}

orka_status_t orka_idisplay_set_output(const orka_display_params_t *params)
{
    return control_display(HERE, IDISPLAY_SET_OUTPUT, params, "Select video output.");
}

orka_status_t orka_idisplay_get_output(orka_display_params_t *params)
{
    return control_display(HERE, IDISPLAY_GET_OUTPUT, params, "Select video output.");
}

/* The ring of outputs. No lock on purpose: one thread sets it up and steps through it. */
static orka_display_params_t VideoOutputToggle[8];
static int VideoOutputToggleCount; /* entries in use */
static int VideoOutputToggleIndex; /* the entry last selected */

/* Kept on purpose: the entries are rows of the table as they are, not fitted to the sizes requested. */
orka_status_t orka_idisplay_toggle_init(const orka_display_request_t *requests, int count)
{
    VideoOutputToggleCount = 0;
    VideoOutputToggleIndex = 0;
    for (int i = 0; i < count; i++) {
        if (VideoOutputToggleCount == std::ssize(VideoOutputToggle)) {
            report_error(HERE, "Max video output toggle array size met.");
            break;
        }
        orka_display_params_t *entry = &VideoOutputToggle[VideoOutputToggleCount];
        /* The search fails for a table without rows alone, and this one has some. GCOVR_EXCL_BR_START */
        if (find_display_params(entry, &requests[i], orka_idisplay_params) == ORKA_STATUS_SUCCESS)
            VideoOutputToggleCount++;
        /* GCOVR_EXCL_BR_STOP */
    }
    return ORKA_STATUS_SUCCESS;
}

/* The entry after the one whose mode is shown; the device does not count. */
static int entry_after(const orka_display_params_t &shown)
{
    int entry = 0;

    while (entry < VideoOutputToggleCount && strcasecmp(VideoOutputToggle[entry].mode, shown.mode) != 0)
        entry++;
    const int next = (entry < VideoOutputToggleCount ? entry : VideoOutputToggleIndex) + 1;
    return next < VideoOutputToggleCount ? next : 0;
}

orka_status_t orka_idisplay_toggle_output(void)
{
    if (VideoOutputToggleCount < 1) {
        report_error(HERE, "Video output toggle not initialized..");
        return ORKA_STATUS_ERROR;
    }

    const int32_t fd = orka_idevice_idecode_fd();
    orka_display_params_t shown = {};
    const orka_status_t asked =
        orka_command(HERE, fd, no_idecode, IDISPLAY_GET_OUTPUT, &shown, "Get video output.");
    if (asked != ORKA_STATUS_SUCCESS)
        return asked;

    VideoOutputToggleIndex = entry_after(shown);
    /* Kept on purpose: the text of the request before. */
    return orka_command(HERE, fd, no_idecode, IDISPLAY_SET_OUTPUT, &VideoOutputToggle[VideoOutputToggleIndex],
                        "Get video output.");
}

/* Control */

orka_status_t orka_idisplay_setup(const orka_display_params_t *params)
{
    const int32_t fd = orka_idevice_idecode_fd();

    if (fd < 0)
        return orka_no_node(HERE, no_idecode);
    if (params == nullptr)
        return orka_null_pointer(HERE);
    return orka_command(HERE, fd, no_idecode, IDISPLAY_SETUP, params, "Setting Up Video Display.");
}

orka_status_t orka_idisplay_teardown(void)
{
    return control_display(HERE, IDISPLAY_TEARDOWN, nullptr, "Tearing Down Video Display.");
}

orka_status_t orka_idisplay_set_enable(int on)
{
    /* The flag travels as the argument itself. */
    const void *flag = reinterpret_cast<const void *>(intptr_t{on});

    return orka_command(HERE, orka_idevice_idecode_fd(), no_idecode, IDISPLAY_ENABLE, flag, "%s Display.",
                        on != 0 ? "Enabling" : "Disabling");
}

orka_status_t orka_idisplay_enable(void)
{
    return orka_idisplay_set_enable(1);
}

orka_status_t orka_idisplay_disable(void)
{
    return orka_idisplay_set_enable(0);
}

orka_status_t orka_idisplay_lcd_set_enable(int on)
{
    const orka_display_request_t request = {
        .device = on != 0 ? "LCD" : nullptr, .mode = nullptr, .width = 0, .height = 0};
    orka_display_params_t params;

    orka_status_t status = orka_idisplay_get_display_params(&params, &request);
    /* Both requests are well formed and the table has rows: there are parameters. GCOVR_EXCL_START */
    if (status != ORKA_STATUS_SUCCESS) {
        report_error(HERE, "Obtaining Display Params.");
        return status;
    }
    /* GCOVR_EXCL_STOP */
    status = orka_idisplay_set_output(&params);
    if (status != ORKA_STATUS_SUCCESS)
        report_error(HERE, "Setting Video Output.");
    return status;
}

orka_status_t orka_idisplay_lcd_enable(void)
{
    return orka_idisplay_lcd_set_enable(1);
}

orka_status_t orka_idisplay_lcd_disable(void)
{
    return orka_idisplay_lcd_set_enable(0);
}

orka_status_t orka_idisplay_resync(void)
{
    return control_display(HERE, IDISPLAY_RESYNC, nullptr, "Resyncing Display.");
}

orka_status_t orka_idisplay_mask(void)
{
    return control_display(HERE, IDISPLAY_MASK, nullptr, "Masking Display.");
}

orka_status_t orka_idisplay_unmask(void)
{
    return control_display(HERE, IDISPLAY_UNMASK, nullptr, "UnMasking Display.");
}

orka_status_t orka_idisplay_set_osd_zoom(uint32_t zoom_a, uint32_t zoom_b)
{
    osd_zoom_record record = {.zoom_a = zoom_a, .zoom_b = zoom_b};

    return control_display(HERE, IDISPLAY_OSD_ZOOM, &record, "Setting OSD Zoom.");
}

orka_status_t orka_idisplay_set_resize(const void *first, const void *second)
{
    const int32_t fd = orka_idevice_idecode_fd();

    if (fd < 0)
        return orka_no_node(HERE, no_idecode);
    if (first == nullptr || second == nullptr)
        return orka_null_pointer(HERE);

    resize_record record = {};
    memcpy(record.first, first, sizeof record.first);
    memcpy(record.second, second, sizeof record.second);
    return orka_command(HERE, fd, no_idecode, IDECODE_SET_RESIZE, &record, "Video decode set resize.");
}

/* Frame buffers. "iDispaly", and what is said of a channel's dimension for all, are kept on purpose. */

/* The mapped frame buffers. No lock on purpose: one thread sets them up, before they are used. */
static uint32_t image_pbase; /* physical */
static void *image_vbase;
static uint32_t image_bufsize; /* bytes */

orka_status_t orka_idisplay_imaging_setup(void)
{
    const int32_t fd = orka_idevice_idecode_fd();
    if (fd < 0)
        return orka_no_node(HERE, no_idecode);

    const orka_status_t asked =
        orka_exchange(HERE, fd, IDISPLAY_BUFFER_BASE, &image_pbase, "iDispaly getting buffer base.");
    if (asked != ORKA_STATUS_SUCCESS)
        return asked;

    /* Kept on purpose: without a size nothing is mapped, and that is a success. */
    if (orka_exchange(HERE, fd, IDISPLAY_BUFFER_SIZE, &image_bufsize, "iDisplay getting buffer size.") !=
        ORKA_STATUS_SUCCESS)
        return ORKA_STATUS_SUCCESS;

    image_vbase = orka_imem_mmap(image_pbase, image_bufsize);
    if (image_vbase == nullptr) {
        report_error(HERE, "Error Mapping iDisplay Buffer.");
        return ORKA_STATUS_IO;
    }
    return ORKA_STATUS_SUCCESS;
}

orka_status_t orka_idisplay_get_frame_dimension(uint32_t channel, uint32_t *width, uint32_t *height)
{
    const int32_t fd = orka_idevice_idecode_fd();
    if (fd < 0)
        return orka_no_node(HERE, no_idecode);

    frame_dimension_record record = {.channel = channel, .width = 0, .height = 0};
    const orka_status_t asked =
        orka_exchange(HERE, fd, IDISPLAY_GET_FRAME_DIMENSION, &record, "iDispaly getting channel dimension.");
    if (asked != ORKA_STATUS_SUCCESS)
        return asked;
    *width = record.width;
    *height = record.height;
    return ORKA_STATUS_SUCCESS;
}

void *orka_idisplay_get_frame_buffer(uint32_t channel)
{
    const int32_t fd = orka_idevice_idecode_fd();
    if (fd < 0) {
        orka_no_node(HERE, no_idecode);
        return nullptr;
    }

    frame_buffer_record record = {.channel = channel, .paddr = 0};
    if (orka_exchange(HERE, fd, IDISPLAY_GET_FRAME_BUFFER, &record, "iDispaly getting channel dimension.") !=
        ORKA_STATUS_SUCCESS)
        return nullptr;

    void *buffer = orka_imem_p2v(record.paddr, image_pbase, image_vbase);
    if (!is_in_buffers(buffer, image_vbase, image_bufsize)) {
        report_error(HERE, "Frame Buffer Address Out of Range - framebuf=%x.", word_of(buffer));
        return nullptr;
    }
    return buffer;
}

orka_status_t orka_idisplay_release_frame_buffer(uint32_t value)
{
    const int32_t fd = orka_idevice_idecode_fd();
    if (fd < 0)
        return orka_no_node(HERE, no_idecode);
    return orka_exchange(HERE, fd, IDISPLAY_RELEASE_FRAME_BUFFER, &value,
                         "iDispaly getting channel dimension.");
}
