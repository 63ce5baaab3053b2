/* What of subtitles is on the screen: text that is drawn over the video plane, at the foot of an area. */
#ifndef ORKA_BOARD_SUBTITLE_PLANE_H
#define ORKA_BOARD_SUBTITLE_PLANE_H

#include <cstdint>
#include <memory>
#include <string>

#include "dsp/text_painter.h"

namespace orka::board {

class SubtitlePlane {
  public:
    /* As the painter takes it; empty for nothing. */
    void show(const std::string &text, const std::shared_ptr<TextPainter> &painter)
    {
        if (text == text_)
            return;
        text_ = text;
        painter_ = text.empty() ? nullptr : painter;
        changes_++;
    }
    const std::string &text() const { return text_; }
    void draw(RgbPicture &screen, const Rectangle &area) const
    {
        if (!text_.empty())
            painter_->draw(text_, screen, area);
    }
    uint64_t changes() const { return changes_; }

  private:
    std::string text_;
    std::shared_ptr<TextPainter> painter_;
    uint64_t changes_ = 0;
};

} // namespace orka::board

#endif
