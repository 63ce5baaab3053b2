/* How the tables that a program can have printed are: a row, a separator, the next row. */
#ifndef ORKA_PRINT_INTERNAL_H
#define ORKA_PRINT_INTERNAL_H

#include <cstdio>

/* Prints nothing for null. */
inline void print_text(FILE *stream, const char *text)
{
    if (text != nullptr)
        fprintf(stream, "%s", text);
}

template <typename Rows, typename PrintRow>
void print_list(FILE *stream, const char *prefix, const char *separator, const char *suffix, const Rows &rows,
                PrintRow print_row)
{
    const char *between = nullptr;

    print_text(stream, prefix);
    for (const auto &row : rows) {
        print_text(stream, between);
        print_row(row);
        between = separator;
    }
    print_text(stream, suffix);
}

#endif
