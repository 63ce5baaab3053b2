#include "dsp/av.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <mutex>

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

namespace orka::board::av {

namespace {

constexpr int longest_line = 200;

/* The first complaint since the listener of this thread was made. */
thread_local std::string complaint;

void hear(void *, int level, const char *format, va_list arguments)
{
    if (level > AV_LOG_ERROR || !complaint.empty())
        return;
    char line[longest_line];
    const int length = vsnprintf(line, sizeof line, format, arguments);
    complaint.assign(line, static_cast<size_t>(std::clamp(length, 0, longest_line - 1)));
    while (!complaint.empty() && complaint.back() == '\n')
        complaint.pop_back();
}

} // namespace

Listener::Listener()
{
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_callback(hear); });
    complaint.clear();
}

bool Listener::heard() const
{
    return !complaint.empty();
}

std::string Listener::text(std::string_view who, int error) const
{
    std::string text = std::string(who) + ": ";
    if (error == 0)
        return text + complaint;
    char meaning[AV_ERROR_MAX_STRING_SIZE];
    av_strerror(error, meaning, sizeof meaning);
    text += meaning;
    return heard() ? text + " (" + complaint + ")" : text;
}

} // namespace orka::board::av
