#include "common/orka_icapture_internal.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <strings.h>

#include "common/orka_idevice_internal.h"
#include "common/orka_idisplay_internal.h"
#include "common/orka_imem_internal.h"
#include "wire/orka_icapture_wire.h"

using namespace orka::wire;

static constexpr char pname[] = "ORKA_ICAPTURE:";

static constexpr char no_icapture[] = "Obtaining ICapture FD.";

/* Modes of the video decoder chip */

static constexpr orka_capture_params_t orka_icapture_params[] = {
    {.words0 = {0, 0, 1, 1, 1, 10},
     .out_width = 720,
     .out_height = 240,
     .req_width = 720,
     .req_height = 480,
     .words40 = {0, 6, 6},
     .frame_rate = 30,
     .device = "TVP5150",
     .mode = "480i_field",
     .width = 720,
     .height = 240},
    {.words0 = {0, 0, 1, 1, 1, 10},
     .out_width = 720,
     .out_height = 288,
     .req_width = 720,
     .req_height = 576,
     .words40 = {0, 6, 6},
     .frame_rate = 25,
     .device = "TVP5150",
     .mode = "576i_field",
     .width = 720,
     .height = 288},
    {.words0 = {0, 0, 1, 1, 1, 10},
     .out_width = 720,
     .out_height = 480,
     .req_width = 720,
     .req_height = 480,
     .words40 = {0, 6, 6},
     .frame_rate = 30,
     .device = "TVP5150",
     .mode = "480i_frame",
     .width = 720,
     .height = 480,
     .interlaced = 1},
    {.words0 = {0, 0, 1, 1, 1, 10},
     .out_width = 720,
     .out_height = 576,
     .req_width = 720,
     .req_height = 576,
     .words40 = {0, 6, 6},
     .frame_rate = 25,
     .device = "TVP5150",
     .mode = "576i_frame",
     .width = 720,
     .height = 576,
     .interlaced = 1},
};
static constexpr size_t orka_icapture_params_count = 4;
static_assert(std::size(orka_icapture_params) == orka_icapture_params_count);

void orka_icapture_print_modes(FILE *stream, const char *prefix, const char *separator, const char *suffix)
{
    print_mode_table<orka_capture_params_t>(orka_icapture_params, stream, prefix, separator, suffix);
}

static int upper(char letter)
{
    return toupper(static_cast<unsigned char>(letter));
}

int mode_name_cmp(const char *table_mode, const char *wanted)
{
    for (; *wanted != '\0'; table_mode++, wanted++) {
        const int difference = upper(*table_mode) - upper(*wanted);
        if (difference != 0)
            return difference < 0 ? -1 : 1;
    }
    return *table_mode == '\0' || *table_mode == '_' ? 0 : 1;
}

/* The number that a mode of one digit is; -1 for any other. */
static int mode_index(const char *mode)
{
    return mode[0] >= '0' && mode[0] <= '9' && mode[1] == '\0' ? mode[0] - '0' : -1;
}

/* The row that serves best by its names, or null. A mode of one digit counts the rows that could serve. */
static const orka_capture_params_t *choose_row(const call_site &site, const wanted_names &wanted,
                                               std::span<const orka_capture_params_t> table)
{
    const orka_capture_params_t *found = nullptr;

    if (wanted.device != nullptr) {
        const size_t at = find_device(table, wanted.device);
        if (at == table.size())
            return nullptr;
        found = &table[at];
        table = table.subspan(at);
    }
    if (wanted.mode == nullptr)
        return found != nullptr ? found : table.data();

    int index = mode_index(wanted.mode);
    for (const orka_capture_params_t &row : table) {
        report_row(site, row);
        if (wanted.device != nullptr && strcasecmp(row.device, wanted.device) != 0)
            continue;
        if (mode_name_cmp(row.mode, wanted.mode) == 0 || --index == -1)
            return &row;
    }
    return found;
}

orka_status_t find_capture_params(orka_capture_params_t *out, const orka_display_request_t *request,
                                  std::span<const orka_capture_params_t> table)
{
    if (out == nullptr)
        return orka_null_pointer(HERE);
    *out = {};
    if (table.empty()) {
        report_error(HERE, "No Capture Parameters Defined.");
        return ORKA_STATUS_ERROR;
    }

    const orka_capture_params_t *row = choose_row(HERE, names_of(request), table);
    if (row == nullptr) {
        report_warning(HERE, "Finding Requested Capture Mode. Using Defaults.");
        row = table.data();
    }
    *out = *row;
    return ORKA_STATUS_SUCCESS;
}

orka_status_t orka_icapture_get_capture_params(orka_capture_params_t *out,
                                               const orka_display_request_t *request)
{
    if (out == nullptr)
        return orka_null_pointer(HERE);

    const orka_status_t status = find_capture_params(out, request, orka_icapture_params);
    /* The search fails for a table without rows alone, and this one has some. GCOVR_EXCL_START */
    if (status != ORKA_STATUS_SUCCESS) {
        /* Kept on purpose: the display's text. */
        report_error(HERE, "Getting Display Parameters.");
        return status;
    }
    /* GCOVR_EXCL_STOP */
    if (request != nullptr) {
        out->req_width = request->width;
        out->req_height = request->height;
    }
    return ORKA_STATUS_SUCCESS;
}

/* Control */

static ORKA_INLINE orka_status_t control_capture(const call_site &site, uint32_t request, const void *record,
                                                 orka_message<> refused)
{
    return orka_command(site, orka_idevice_icap_fd(), no_icapture, request, record, refused);
}

orka_status_t orka_icapture_setup(orka_capture_params_t *params)
{
    return control_capture(HERE, ICAPTURE_SETUP, params, "ICapture setup.");
}

orka_status_t orka_icapture_vdecoder_control(void *record)
{
    return control_capture(HERE, ICAPTURE_VDECODER_CONTROL, record,
                           "Set/Get video decoder control parameters.");
}

orka_status_t orka_icapture_set_vchannels(uint32_t channels)
{
    return control_capture(HERE, ICAPTURE_SET_CHANNELS, &channels, "ICapture set video channels.");
}

orka_status_t orka_icapture_set_start_channel(uint32_t channel)
{
    return control_capture(HERE, ICAPTURE_SET_START_CHANNEL, &channel, "ICapture set start video channel.");
}

orka_status_t orka_icapture_set_enable(uint32_t enable)
{
    return control_capture(HERE, ICAPTURE_ENABLE, &enable, "ICapture enable/disable.");
}

/* Kept on purpose: the text of set_enable. */
orka_status_t orka_icapture_set_passthru(uint32_t mode)
{
    return control_capture(HERE, ICAPTURE_SET_PASSTHRU, &mode, "ICapture enable/disable.");
}

static constexpr const char *passthru_names[] = {"None", "Encoded", "Captured"};

const char *orka_icapture_passthru_string(int mode)
{
    if (mode < 0 || mode >= std::ssize(passthru_names))
        return "Unknown";
    return passthru_names[mode];
}

/* Handles */

static constexpr char valid_magic[] = {'S', 'I', 'D', 'S'};
static constexpr uint32_t bytes_per_pixel = 2;

static bool is_valid(const orka_capture_handle_t &handle)
{
    return handle.initialized == 1 && memcmp(handle.magic, valid_magic, sizeof valid_magic) == 0;
}

static void make_valid(orka_capture_handle_t &handle)
{
    memcpy(handle.magic, valid_magic, sizeof valid_magic);
    handle.initialized = 1;
}

static void discard_handle(orka_capture_handle_t *handle)
{
    explicit_bzero(handle, sizeof *handle);
    free(handle);
}

static orka_capture_handle_t *allocate_handle()
{
    void *memory = malloc(sizeof(orka_capture_handle_t));

    if (memory != nullptr)
        memset(memory, 0, sizeof(orka_capture_handle_t));
    return static_cast<orka_capture_handle_t *>(memory);
}

/* Where the frames lie, and how large one is. */
static orka_status_t ask_driver(const call_site &site, int32_t fd, orka_capture_handle_t &handle)
{
    orka_status_t asked =
        orka_exchange(site, fd, ICAPTURE_BUFFER_BASE, &handle.pbase, "ICapture frame buffer base.");
    if (asked != ORKA_STATUS_SUCCESS)
        return asked;

    capture_dimension_record dimension = {};
    asked = orka_exchange(site, fd, ICAPTURE_DIMENSION, &dimension, "ICapture output dimension.");
    if (asked != ORKA_STATUS_SUCCESS)
        return asked;
    handle.width = dimension.width;
    handle.height = dimension.height;
    handle.framesize = handle.width * handle.height * bytes_per_pixel;

    return orka_exchange(site, fd, ICAPTURE_BUFFER_SIZE, &handle.bufsize, "ICapture frame buffer size.");
}

/* Kept on purpose: what is mapped is told on standard output, failed or not. */
static void map_frames(const call_site &site, orka_capture_handle_t &handle)
{
    handle.vbase = word_of(orka_imem_mmap(handle.pbase, handle.bufsize));
    printf("%s handle->width=%d handle->height=%d handle->framesize=%d handle->vbase=%lu\n", pname,
           static_cast<int32_t>(handle.width), static_cast<int32_t>(handle.height),
           static_cast<int32_t>(handle.framesize), static_cast<unsigned long>(handle.vbase));
    if (handle.vbase != 0)
        make_valid(handle);
    else
        report_error(site, "Error Mapping ICapture Buffer.");
}

orka_capture_handle_t *orka_icapture_init(void)
{
    const int32_t fd = orka_idevice_icap_fd();
    if (fd < 0) {
        orka_no_node(HERE, no_icapture);
        return nullptr;
    }

    orka_capture_handle_t *handle = allocate_handle();
    if (handle == nullptr)
        return nullptr;
    if (ask_driver(HERE, fd, *handle) == ORKA_STATUS_SUCCESS)
        map_frames(HERE, *handle);
    if (!is_valid(*handle)) {
        discard_handle(handle);
        return nullptr;
    }
    return handle;
}

orka_status_t orka_icapture_check_handle(const orka_capture_handle_t *handle)
{
    if (handle == nullptr) {
        report_error(HERE, "Handle is NULL.");
        return ORKA_STATUS_NULL_POINTER;
    }
    if (!is_valid(*handle)) {
        /* Kept on purpose: no display has to do with it. */
        report_error(HERE, "Invalid Menu Display Handle.");
        return ORKA_STATUS_INITIALIZATION;
    }
    return ORKA_STATUS_SUCCESS;
}

/* The same, with a line of the caller's own after that of the check. */
static orka_status_t check_for(const call_site &site, const orka_capture_handle_t *handle)
{
    const orka_status_t status = orka_icapture_check_handle(handle);

    if (status != ORKA_STATUS_SUCCESS)
        report_error(site, "Invalid Handle.");
    return status;
}

orka_status_t orka_icapture_get_dim(const orka_capture_handle_t *handle, uint32_t *width, uint32_t *height)
{
    const orka_status_t status = check_for(HERE, handle);

    if (status != ORKA_STATUS_SUCCESS)
        return status;
    *width = handle->width;
    *height = handle->height;
    return ORKA_STATUS_SUCCESS;
}

/* Kept on purpose: the frames stay mapped, and the descriptor that is closed is that of the whole process. */
orka_status_t orka_icapture_close(orka_capture_handle_t *handle)
{
    if (orka_idevice_icap_fd() < 0)
        return orka_no_node(HERE, no_icapture);
    const orka_status_t status = check_for(HERE, handle);
    if (status != ORKA_STATUS_SUCCESS)
        return status;

    /* Kept on purpose: no window has to do with it. */
    if (orka_idevice_icap_fd_close() != 0)
        report_error(HERE, "Closing Window FD.");
    discard_handle(handle);
    return ORKA_STATUS_SUCCESS;
}

/* Frames. Kept on purpose: an index is not held against the number of slots. */

void *orka_icapture_get_frame(orka_capture_handle_t *handle, uint32_t index)
{
    const int32_t fd = orka_idevice_icap_fd();
    if (fd < 0) {
        orka_no_node(HERE, no_icapture);
        return nullptr;
    }
    if (check_for(HERE, handle) != ORKA_STATUS_SUCCESS)
        return nullptr;

    uint32_t &slot = handle->slots[index];
    if (orka_exchange(HERE, fd, ICAPTURE_GET_FRAME, &slot, "Get Frame Buffer Addr.") != ORKA_STATUS_SUCCESS)
        return nullptr;

    void *vbase = pointer_of(handle->vbase);
    void *frame = orka_imem_p2v(slot, handle->pbase, vbase);
    if (!is_in_buffers(frame, vbase, handle->bufsize)) {
        report_error(HERE, "Frame Buffer Address Out of Range - maddr=%p.", frame);
        return nullptr;
    }
    return frame;
}

orka_status_t orka_icapture_release_frame(orka_capture_handle_t *handle, uint32_t index)
{
    const int32_t fd = orka_idevice_icap_fd();
    /* Kept on purpose: nothing is said here beside what the registry of nodes says. */
    if (fd < 0)
        return ORKA_STATUS_IO;
    const orka_status_t status = check_for(HERE, handle);
    if (status != ORKA_STATUS_SUCCESS)
        return status;
    return orka_command(HERE, fd, no_icapture, ICAPTURE_RELEASE_FRAME, &handle->slots[index],
                        "Release frame.");
}
