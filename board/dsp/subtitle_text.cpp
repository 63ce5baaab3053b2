#include "dsp/subtitle_text.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace orka::board {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD"; /* U+FFFD */
constexpr std::string_view word_joiner = "\xE2\x81\xA0"; /* U+2060, without width */
constexpr std::string_view styles = "ibus";

bool is_continuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/* Bytes that a character's first byte asks for; 0 where it can be no first byte. */
size_t length_told(unsigned char first)
{
    if (first < 0x80)
        return 1;
    if (first < 0xC2)
        return 0;
    if (first < 0xE0)
        return 2;
    if (first < 0xF0)
        return 3;
    return first < 0xF5 ? 4 : 0;
}

/* Longer forms than needed, halves of UTF-16 pairs, and what lies beyond Unicode. */
bool is_forbidden(unsigned char first, unsigned char second)
{
    return (first == 0xE0 && second < 0xA0) || (first == 0xED && second >= 0xA0) ||
           (first == 0xF0 && second < 0x90) || (first == 0xF4 && second >= 0x90);
}

/* The character that the text begins with, or nothing where that is no UTF-8. */
std::string_view whole_character(std::string_view text)
{
    const auto first = static_cast<unsigned char>(text[0]);
    const size_t length = length_told(first);
    if (length == 0 || length > text.size())
        return {};
    if (!std::ranges::all_of(text.substr(1, length - 1), is_continuation))
        return {};
    if (length > 2 && is_forbidden(first, static_cast<unsigned char>(text[1])))
        return {};
    return text.substr(0, length);
}

char lower(char letter)
{
    return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
}

bool is_style(char letter)
{
    return styles.find(letter) != std::string_view::npos;
}

bool is_letter(char byte)
{
    return lower(byte) >= 'a' && lower(byte) <= 'z';
}

/* Reads from the front of the text; what is to be seen goes to the end of the result. */
class Reader {
  public:
    explicit Reader(std::string_view text) : rest_(text) {}

    std::string read()
    {
        while (!rest_.empty()) {
            if (!read_tag() && !read_overrides() && !read_escape())
                read_character();
        }
        return seen_ ? text_ : "";
    }

  private:
    bool read_tag();
    bool read_overrides();
    bool read_escape();
    void read_character();

    void override_with(std::string_view tag);
    void set_style(char style, bool on) { text_ += {'{', '\\', style, on ? '1' : '0', '}'}; }
    void put(std::string_view text, bool seen)
    {
        if (drawing_)
            return;
        text_ += text;
        seen_ = seen_ || seen;
    }

    std::string_view rest_;
    std::string text_;
    bool seen_ = false;
    bool drawing_ = false;
};

/* <i>, </font>, <c.yellow>; but not "a < b". */
bool Reader::read_tag()
{
    const size_t end = rest_.find_first_of("<>\n", 1);
    if (rest_[0] != '<' || end == std::string_view::npos || rest_[end] != '>')
        return false;
    const bool closes = rest_[1] == '/';
    const std::string_view name = rest_.substr(1 + closes, end - 1 - closes);
    if (name.empty() || !is_letter(name[0]))
        return false;
    if (name.size() == 1 && is_style(lower(name[0])))
        set_style(lower(name[0]), !closes);
    rest_.remove_prefix(end + 1);
    return true;
}

/* {\i1\c&H00FFFF&} */
bool Reader::read_overrides()
{
    const size_t end = rest_.find('}');
    if (!rest_.starts_with("{\\") || end == std::string_view::npos)
        return false;
    for (std::string_view tags = rest_.substr(0, end); !tags.empty();) {
        const size_t next = tags.find('\\', 1);
        override_with(tags.substr(0, next));
        tags.remove_prefix(std::min(next, tags.size()));
    }
    rest_.remove_prefix(end + 1);
    return true;
}

void Reader::override_with(std::string_view tag)
{
    if (tag.size() == 3 && is_style(tag[1]) && (tag[2] == '0' || tag[2] == '1'))
        set_style(tag[1], tag[2] == '1');
    if (tag.size() > 2 && tag[1] == 'p' && std::isdigit(static_cast<unsigned char>(tag[2])))
        drawing_ = tag[2] != '0';
}

bool Reader::read_escape()
{
    const std::string_view two = rest_.substr(0, 2);
    if (two == "\\N" || two == "\\n")
        put("\\N", false);
    else if (two == "\\h")
        put("\\h", false);
    else
        return false;
    rest_.remove_prefix(2);
    return true;
}

void Reader::read_character()
{
    const std::string_view character = whole_character(rest_);
    rest_.remove_prefix(std::max<size_t>(character.size(), 1));
    if (character.empty())
        return put(replacement, true);
    const char byte = character[0];
    if (byte == '\n')
        return put("\\N", false);
    if (byte == '\r')
        return;
    if (byte == '\\') /* alone, it would be the painter's */
        return put("\\" + std::string(word_joiner), true);
    if (byte == '{' || byte == '}')
        return put(std::string("\\") + byte, true);
    if (std::iscntrl(static_cast<unsigned char>(byte)) || byte == ' ')
        return put(" ", false);
    put(character, true);
}

} // namespace

std::string subtitle_text(std::span<const uint8_t> bytes)
{
    const std::string_view text(reinterpret_cast<const char *>(bytes.data()), bytes.size());
    return Reader(text.substr(0, text.find('\0'))).read();
}

std::string stacked(const std::string &upper, const std::string &lower)
{
    if (upper.empty() || lower.empty())
        return upper + lower;
    return upper + "{\\r}\\N" + lower;
}

} // namespace orka::board
