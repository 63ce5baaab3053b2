/*
 * The video plane: which of the pictures that the decoders and the capture input show is the one on the
 * screen.
 *
 * Decoded pictures stay where they were decoded. Whoever shows one leaves its memory alone until it shows the
 * next one, or lets the plane copy it. A captured picture covers them. Of the decoders the lowest one that is
 * started has the plane; where none of those has shown anything, it stays with the one that showed last, as
 * long as that is set up.
 */
#ifndef ORKA_BOARD_VIDEO_PLANE_H
#define ORKA_BOARD_VIDEO_PLANE_H

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "dsp/screen_picture.h"

namespace orka::board {

class VideoPlane {
  public:
    /* One decoder's picture. Decoders are in order by their rank, which is each one's own. */
    class Source {
      public:
        Source(VideoPlane &plane, uint32_t rank, std::string name);
        ~Source();
        Source(const Source &) = delete;
        Source &operator=(const Source &) = delete;

        void show(const UyvyPicture &picture);
        void start(bool started);
        void copy(); /* the memory of the picture is needed */

      private:
        friend class VideoPlane;
        VideoPlane &plane_;
        const uint32_t rank_;
        const std::string name_;
        bool started_ = false;
        UyvyPicture picture_;
        std::vector<uint8_t> copied_;
    };

    VideoPlane() = default;
    VideoPlane(const VideoPlane &) = delete;
    VideoPlane &operator=(const VideoPlane &) = delete;

    /* The picture is copied; one without pixels ends what is captured. */
    void show_captured(const UyvyPicture &picture);

    UyvyPicture picture() const; /* without pixels where there is none */
    std::string source() const;  /* "vdecode 0/0", "capture", or empty */
    uint64_t changes() const { return changes_; }

  private:
    const Source *seen() const;

    std::map<uint32_t, Source *> sources_;
    const Source *last_ = nullptr; /* which showed last */
    UyvyPicture captured_;
    std::vector<uint8_t> captured_pixels_;
    uint64_t changes_ = 0;
};

} // namespace orka::board

#endif
