/* orka-record: records camera and microphone through the library's public calls. */
#include <atomic>
#include <cstdio>

#include "common/failure.h"
#include "common/process.h"
#include "options.h"
#include "recorder.h"
#include "still.h"

namespace orka::record {

namespace {

exit_status record_file(const Options &options, const std::atomic<bool> &stop)
{
    Recorder recorder(options, stop);
    exit_status status = status_done;
    try {
        recorder.record();
    } catch (const std::exception &failure) {
        status = say("orka-record", failure);
    }
    recorder.print_summary();
    return status;
}

} // namespace

} // namespace orka::record

int main(int argc, char **argv)
{
    using namespace orka;
    using namespace orka::record;
    int status = status_done;
    const std::optional<Options> options = parse_options(argc, argv, status);
    if (!options)
        return status;

    av_log_set_level(AV_LOG_QUIET);
    const std::atomic<bool> &stop = listen_to_signals();
    try {
        if (!options->container->is_still())
            return record_file(*options, stop);
        record_still(*options, stop);
        return status_done;
    } catch (const std::exception &failure) {
        return say("orka-record", failure);
    }
}
