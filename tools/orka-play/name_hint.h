/* What a file's name says that it is, before anybody has looked into it. */
#ifndef ORKA_PLAY_NAME_HINT_H
#define ORKA_PLAY_NAME_HINT_H

#include <string>

#include "clip.h"
#include "orka_media.h"

namespace orka::play {

class NameHint {
  public:
    explicit NameHint(const std::string &path);

    /* A clause that tells the user where the file is something else than its name says; empty where it is
       not, or where one of the two is not known. */
    std::string objection(const Clip &clip) const;

  private:
    /* What a file is; images are told apart, too. */
    struct Type {
        orka_file_type_t file = ORKA_FILE_TYPE_UNKNOWN;
        orka_image_type_t image = ORKA_IMAGE_TYPE_NONE;

        bool is_known() const { return file != ORKA_FILE_TYPE_UNKNOWN; }
        bool contradicts(const Type &other) const;
        std::string text() const;
    };

    static orka_image_type_t image_type_of(const std::string &path);
    static Type type_of(const Clip &clip);

    Type said_;
};

} // namespace orka::play

#endif
