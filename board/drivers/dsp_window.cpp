#include "drivers/dsp_window.h"

#include <algorithm>
#include <atomic>

#include "wire/orka_nodes.h"

namespace orka::board {

namespace {

/*
 * A word that programs read while it changes: a pair of words changes at once. The window goes by no cache on
 * its way out, and shows on both sides.
 */
template <typename Word>
void put(const Memory &memory, uint32_t index, Word value)
{
    const uint32_t place = DspWindow::address + index * static_cast<uint32_t>(sizeof(uint16_t));
    for (const std::span<uint8_t> side : {memory.at(place, sizeof value), memory.shared(place, sizeof value)})
        std::atomic_ref(*reinterpret_cast<Word *>(side.data())).store(value, std::memory_order_release);
}

/* Ends with zeros, at least one. */
void put_name(const Memory &memory, std::string_view name)
{
    constexpr uint32_t words = wire::image_name_size / 2 + 1;
    static_assert(DspWindow::word_name + words <= DspWindow::board_words);
    const auto letter = [&](size_t place) {
        return place < name.size() ? static_cast<uint8_t>(name[place]) : 0U;
    };
    for (uint32_t i = 0; i < words; i++) {
        const size_t at = size_t{2} * i;
        put(memory, DspWindow::word_name + i, static_cast<uint16_t>(letter(at) | letter(at + 1) << 8));
    }
}

} // namespace

void DspWindow::load(const void *user, std::string_view name)
{
    if (std::ranges::any_of(images_, [&](const Loaded &one) { return one.user == user && one.name == name; }))
        return;
    std::erase_if(images_, [&](const Loaded &one) { return one.user == user; });
    images_.push_back({user, std::string(name)});
    loads_++;
    show_images();
}

void DspWindow::unload(const void *user)
{
    std::erase_if(images_, [&](const Loaded &one) { return one.user == user; });
    show_images();
}

bool DspWindow::has_serial_ports() const
{
    return std::ranges::any_of(images_, [](const Loaded &one) {
        const CodecImage *const image = find_image(one.name);
        return image != nullptr && image->serial_ports;
    });
}

void DspWindow::count_frames(uint64_t frames)
{
    frames_ += static_cast<uint32_t>(frames);
    put(memory_, word_frames, frames_);
}

/* The version last: who sees it finds the rest in place. */
void DspWindow::show_images() const
{
    put_name(memory_, images_.empty() ? "" : std::string_view(images_.back().name));
    put(memory_, word_images, static_cast<uint16_t>(images_.size()));
    put(memory_, word_version, images_.empty() ? uint16_t{0} : version);
}

} // namespace orka::board
