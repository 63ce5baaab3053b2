#include "dsp/text_painter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include <ass/ass.h>
#include <unistd.h>

namespace orka::board {

namespace {

constexpr uint32_t line_part = 16;  /* of the screen's height */
constexpr uint32_t free_part = 10;  /* of the area, on each side */
constexpr double outline_part = 15; /* of a line's height */

/* As libass has them: red, green, blue, and how much shines through. */
constexpr uint32_t white = 0xFFFFFF00;
constexpr uint32_t black = 0x00000000;
constexpr int outlined = 1;
constexpr int bottom_centre = 2;

constexpr int most_glyphs = 1000;
constexpr int most_cached_mib = 8;

struct Free {
    void operator()(ASS_Library *library) const { ass_library_done(library); }
    void operator()(ASS_Renderer *renderer) const { ass_renderer_done(renderer); }
    void operator()(ASS_Track *track) const { ass_free_track(track); }
};

template <typename Record>
std::unique_ptr<Record, Free> owned(Record *record)
{
    if (!record)
        throw std::bad_alloc();
    return std::unique_ptr<Record, Free>(record);
}

/* The library owns texts of its records, and frees them. */
char *copy_of(const std::string &text)
{
    char *const copy = strdup(text.c_str());
    if (!copy)
        throw std::bad_alloc();
    return copy;
}

void set_style(ASS_Style &style, uint32_t line, const Rectangle &area)
{
    style.Name = copy_of("Default");
    style.FontName = copy_of("DejaVu Sans");
    style.FontSize = line;
    style.PrimaryColour = white;
    style.SecondaryColour = white;
    style.OutlineColour = black;
    style.BackColour = black;
    style.ScaleX = 1;
    style.ScaleY = 1;
    style.BorderStyle = outlined;
    style.Outline = std::max(1.0, line / outline_part);
    style.Alignment = bottom_centre;
    style.MarginL = static_cast<int>(area.width / free_part);
    style.MarginR = style.MarginL;
    style.MarginV = static_cast<int>(area.height / free_part);
    style.Encoding = 1;
}

void blend(uint8_t *pixel, unsigned grey, unsigned opacity)
{
    for (int i = 0; i < 3; i++)
        pixel[i] = static_cast<uint8_t>((pixel[i] * (255 - opacity) + grey * opacity + 127) / 255);
}

/* One colour through a mask. All of it is grey. */
void blend(const ASS_Image &image, RgbPicture &target, const Rectangle &area)
{
    const unsigned grey = image.color >> 24;
    const unsigned opaque = 255 - (image.color & 255);
    const auto top = static_cast<int>(area.height / free_part);
    for (int y = std::max(0, top - image.dst_y); y < image.h; y++) {
        const unsigned char *const mask = image.bitmap + static_cast<ptrdiff_t>(y) * image.stride;
        uint8_t *const line = target.at(area.x + static_cast<uint32_t>(image.dst_x),
                                        area.y + static_cast<uint32_t>(image.dst_y + y));
        for (int x = 0; x < image.w; x++)
            blend(line + static_cast<ptrdiff_t>(x) * 3, grey, mask[x] * opaque / 255);
    }
}

} // namespace

struct TextPainter::Library {
    explicit Library(const std::string &font);
    const ASS_Image *render(const std::string &text, uint32_t line, const Rectangle &area);

    std::unique_ptr<ASS_Library, Free> library;
    std::unique_ptr<ASS_Renderer, Free> renderer;
};

TextPainter::Library::Library(const std::string &font) : library(owned(ass_library_init()))
{
    ass_set_message_cb(
        library.get(), [](int, const char *, va_list, void *) {}, nullptr);
    renderer = owned(ass_renderer_init(library.get()));
    ass_set_cache_limits(renderer.get(), most_glyphs, most_cached_mib);
    ass_set_fonts(renderer.get(), font.c_str(), nullptr, ASS_FONTPROVIDER_NONE, nullptr, 0);
}

/* What is returned belongs to the renderer, until it renders again. */
const ASS_Image *TextPainter::Library::render(const std::string &text, uint32_t line, const Rectangle &area)
{
    const auto width = static_cast<int>(area.width);
    const auto height = static_cast<int>(area.height);
    const std::unique_ptr<ASS_Track, Free> track = owned(ass_new_track(library.get()));
    track->track_type = ASS_Track::TRACK_TYPE_ASS;
    track->PlayResX = width;
    track->PlayResY = height;
    track->ScaledBorderAndShadow = 1;
    /* Records are reached by their numbers once they are there: making one may move them all. */
    const int style = ass_alloc_style(track.get());
    const int number = ass_alloc_event(track.get());
    if (style < 0 || number < 0)
        throw std::bad_alloc();
    set_style(track->styles[style], line, area);
    ASS_Event &event = track->events[number];
    event.Duration = 1;
    event.Style = style;
    event.Text = copy_of(text);
    ass_set_frame_size(renderer.get(), width, height);
    ass_set_storage_size(renderer.get(), width, height);
    return ass_render_frame(renderer.get(), track.get(), 0, nullptr);
}

TextPainter::TextPainter(std::unique_ptr<Library> library) : library_(std::move(library)) {}

TextPainter::~TextPainter() = default;

const char *TextPainter::default_font()
{
    return ORKA_SUBTITLE_FONT;
}

std::shared_ptr<TextPainter> TextPainter::create(const std::string &font, std::string &why)
{
    if (access(font.c_str(), R_OK) != 0) {
        why = font + ": " + strerror(errno);
        return nullptr;
    }
    auto library = std::make_unique<Library>(font);
    if (!library->render("A", 100, {0, 0, 100, 100})) {
        why = font + ": no font";
        return nullptr;
    }
    return std::shared_ptr<TextPainter>(new TextPainter(std::move(library)));
}

void TextPainter::draw(const std::string &text, RgbPicture &target, const Rectangle &area) const
{
    if (text.empty() || area.empty())
        return;
    const uint32_t line = std::max(1U, target.height / line_part);
    for (const ASS_Image *image = library_->render(text, line, area); image; image = image->next)
        blend(*image, target, area);
}

} // namespace orka::board
