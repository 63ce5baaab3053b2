/*
 * Puts text onto a screen: white with a black outline, centred at the foot of an area, in lines as long as
 * fit.
 *
 * The text is that of subtitle_text(). Lines are broken between words; a word that is longer than a line, and
 * lines that find no room above, are cut off.
 */
#ifndef ORKA_BOARD_DSP_TEXT_PAINTER_H
#define ORKA_BOARD_DSP_TEXT_PAINTER_H

#include <memory>
#include <string>

#include "dsp/screen_picture.h"

namespace orka::board {

class TextPainter {
  public:
    /* The board's own font. */
    static const char *default_font();
    /* Null, and a text for the board's log in why, where the font cannot be used. */
    static std::shared_ptr<TextPainter> create(const std::string &font, std::string &why);
    ~TextPainter();
    TextPainter(const TextPainter &) = delete;
    TextPainter &operator=(const TextPainter &) = delete;

    /* A line is a sixteenth of the target's height. A tenth of the area, which lies inside the target, stays
       free on each side. One thread at a time. */
    void draw(const std::string &text, RgbPicture &target, const Rectangle &area) const;

  private:
    struct Library;
    explicit TextPainter(std::unique_ptr<Library> library);

    const std::unique_ptr<Library> library_;
};

} // namespace orka::board

#endif
