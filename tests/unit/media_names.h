/* What the tests of the catalogue's types and of its files share: names of values, and lists of them. */
#ifndef ORKA_TESTS_UNIT_MEDIA_NAMES_H
#define ORKA_TESTS_UNIT_MEDIA_NAMES_H

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace orka_test {

struct Name {
    int32_t value;
    const char *name;
};

inline std::string changed(std::string text, int (*change)(int))
{
    for (char &letter : text)
        letter = static_cast<char>(change(letter));
    return text;
}

/* Every row's name for its value, but "UNKNOWN" for DETECT's, and "UNKNOWN" for values of no row. */
inline void expect_names(const char *(*string)(int32_t), const std::vector<Name> &rows)
{
    for (const Name &row : rows)
        EXPECT_STREQ(string(row.value), strcmp(row.name, "DETECT") == 0 ? "UNKNOWN" : row.name);
    for (int32_t value : {rows.back().value + 1, -2, 100, INT32_MIN, INT32_MAX})
        EXPECT_STREQ(string(value), "UNKNOWN");
}

/* Every row's value for its whole name in any case, and nothing for any other. */
inline void expect_values(int32_t (*type)(const char *), const std::vector<Name> &rows, int32_t nothing)
{
    for (const Name &row : rows) {
        EXPECT_EQ(type(row.name), row.value) << row.name;
        EXPECT_EQ(type(changed(row.name, tolower).c_str()), row.value) << row.name;
        EXPECT_EQ(type((std::string(row.name) + "X").c_str()), nothing) << row.name;
        EXPECT_EQ(type(std::string(row.name, 1).c_str()), nothing) << row.name;
        EXPECT_EQ(type(("X" + std::string(row.name)).c_str()), nothing) << row.name;
    }
    EXPECT_EQ(type(""), nothing);
    EXPECT_EQ(type("FLAC"), nothing);
}

using PrintList = void (*)(FILE *, const char *, const char *, const char *);

inline std::string printed(PrintList print, const char *prefix, const char *separator, const char *suffix)
{
    char *text = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&text, &size);
    print(stream, prefix, separator, suffix);
    fclose(stream);
    std::string result(text, size);
    free(text);
    return result;
}

} // namespace orka_test

#endif
