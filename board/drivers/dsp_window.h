/*
 * What the DSP tells of itself in its memory window: which codec images it runs, and how many frames it has
 * made. Programs map the window and look; nobody asks the board.
 *
 * The reactor's thread alone writes here.
 */
#ifndef ORKA_BOARD_DSP_WINDOW_H
#define ORKA_BOARD_DSP_WINDOW_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "dsp/images.h"
#include "server/memory.h"

namespace orka::board {

class DspWindow {
  public:
    static constexpr uint32_t address = 0x40000; /* physical */
    static constexpr uint16_t version = 0x0100;  /* of this table: major, minor */

    /* The board's words of 16 bits. Those behind them are the programs'. */
    enum word : uint32_t {
        word_version = 0, /* 0 while no image is loaded */
        word_images = 1,  /* how many are */
        word_frames = 2,  /* and 3: low, high; frames decoded and encoded since power-on */
        word_name = 4, /* of the image that was loaded last, two letters a word, the first in the low byte */
        board_words = 32,
    };

    explicit DspWindow(const Memory &memory) : memory_(memory) {}

    /* Each user, a node or a channel, has one image at most. The one that it has may be loaded again. */
    void load(const void *user, std::string_view name);
    void unload(const void *user);
    /* Changes whenever another image was loaded. */
    uint32_t loads() const { return loads_; }
    bool has_serial_ports() const; /* one of the images serves them */

    void count_frames(uint64_t frames);

  private:
    struct Loaded {
        const void *user;
        std::string name;
    };

    void show_images() const;

    const Memory &memory_;
    std::vector<Loaded> images_; /* the one loaded last at the end */
    uint32_t loads_ = 0;
    uint32_t frames_ = 0;
};

} // namespace orka::board

#endif
