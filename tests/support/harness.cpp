#include "support/harness.h"

#include <algorithm>

namespace orka_test {
namespace {

std::string unclaimed(const char *stream, const std::string &text)
{
    return text.empty() ? "" : "unclaimed on standard " + std::string(stream) + ":\n" + text;
}

std::string missing_from(const std::vector<std::string> &all, const std::vector<std::string> &known,
                         const char *what)
{
    std::string text;
    for (const std::string &one : all) {
        if (std::find(known.begin(), known.end(), one) == known.end())
            text += what + one + "\n";
    }
    return text;
}

} // namespace

Harness::Harness() : descriptors_(open_descriptors()), mappings_(count_memory_mappings()) {}

std::string Harness::complaints()
{
    std::string text = unclaimed("error", log.take_error()) + unclaimed("output", log.take_output());
    text += kernel.complaints();
    std::vector<std::string> descriptors = open_descriptors();
    int leaked = static_cast<int>(descriptors.size()) - static_cast<int>(descriptors_.size());
    if (leaked != allowed_descriptors_) {
        text += "descriptors leaked: " + std::to_string(leaked) + "\n";
        text += missing_from(descriptors, descriptors_, "left open: ");
        text += missing_from(descriptors_, descriptors, "closed: ");
    }
    int mappings = count_memory_mappings() - mappings_;
    if (mappings != allowed_mappings_)
        text += "mappings leaked: " + std::to_string(mappings) + "\n";
    return text;
}

} // namespace orka_test
