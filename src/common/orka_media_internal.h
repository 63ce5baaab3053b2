/*
 * How encoded video is looked through: the search for start codes, which every function that looks into a
 * frame shares, and the reader of an SEI message's bits.
 */
#ifndef ORKA_MEDIA_INTERNAL_H
#define ORKA_MEDIA_INTERNAL_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/*
 * find_start_code: the first position from `first` to before `last` at which 00 00 01 stands and of which
 * wanted(position) says true; null when there is none. It gives what trying each position in turn gives, and
 * reads no byte outside [first, last + 2); what wanted() reads is its own affair.
 *
 * On every machine blocks of aligned bytes that cannot hold the prefix 00 00 01 are passed over as a whole,
 * and the others are looked at closely. What a block is, and how it is judged, depends on the machine.
 * wanted() may be asked of a position again.
 */

/* The close look that every machine can take: a position's bytes tell how far on the next possible one is. */
template <typename Wanted>
[[gnu::noinline]] const uint8_t *find_by_bytes(const uint8_t *at, const uint8_t *last, Wanted wanted)
{
    while (at < last) {
        if (at[2] > 1) {
            at += 3;
        } else if (at[2] == 0) {
            at += at[1] == 0 ? 1 : 2;
        } else {
            if (at[1] == 0 && at[0] == 0 && wanted(at))
                return at;
            at += 3;
        }
    }
    return nullptr;
}

#if defined(__SSE2__)

static constexpr ptrdiff_t vector_bytes = sizeof(__m128i);
static constexpr ptrdiff_t block_bytes = 4 * vector_bytes;

/* So many bytes, 8 or 16, from any address; what is left of the vector is 0. */
template <ptrdiff_t count>
inline __m128i load(const uint8_t *at)
{
    if constexpr (count == vector_bytes)
        return _mm_loadu_si128(reinterpret_cast<const __m128i_u *>(at));
    else
        return _mm_loadl_epi64(reinterpret_cast<const __m128i_u *>(at));
}

/* Bit k of so many: a prefix begins at at[k]. */
template <ptrdiff_t count>
inline uint32_t prefixes_at(const uint8_t *at)
{
    const __m128i wrong0 = load<count>(at);
    const __m128i wrong1 = load<count>(at + 1);
    const __m128i wrong2 = _mm_xor_si128(load<count>(at + 2), _mm_set1_epi8(1));
    const __m128i wrong = _mm_or_si128(_mm_or_si128(wrong0, wrong1), wrong2);

    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(wrong, _mm_setzero_si128())));
}

/* Close look at so many positions. */
template <ptrdiff_t count, typename Wanted>
inline const uint8_t *find_at_once(const uint8_t *at, Wanted wanted)
{
    for (uint32_t found = prefixes_at<count>(at); found != 0; found &= found - 1) {
        const uint8_t *code = at + __builtin_ctz(found);

        if (wanted(code))
            return code;
    }
    return nullptr;
}

/* The same for all positions, which are so many or more. The last step may look at some of them again. */
template <ptrdiff_t count, typename Wanted>
inline const uint8_t *find_by_vectors(const uint8_t *at, const uint8_t *last, Wanted wanted)
{
    for (; last - at > count; at += count) {
        if (const uint8_t *code = find_at_once<count>(at, wanted))
            return code;
    }
    return find_at_once<count>(last - count, wanted);
}

/*
 * False when no prefix begins from at[-1] to at[62]. Every such prefix has 00 00 or 00 01 in one of the
 * block's aligned pairs of bytes; the four vectors are joined by their smallest bytes, which lets some pairs
 * through that are none.
 */
inline bool may_hold_prefix(const uint8_t *at)
{
    const __m128i *vectors = reinterpret_cast<const __m128i *>(at);
    const __m128i smallest =
        _mm_min_epu8(_mm_min_epu8(_mm_load_si128(vectors), _mm_load_si128(vectors + 1)),
                     _mm_min_epu8(_mm_load_si128(vectors + 2), _mm_load_si128(vectors + 3)));
    const __m128i pairs = _mm_and_si128(smallest, _mm_set1_epi16(static_cast<int16_t>(0xFEFF)));

    return _mm_movemask_epi8(_mm_cmpeq_epi16(pairs, _mm_setzero_si128())) != 0;
}

template <typename Wanted>
const uint8_t *find_start_code(const uint8_t *first, const uint8_t *last, Wanted wanted)
{
    constexpr ptrdiff_t half = vector_bytes / 2;

    if (last - first < half)
        return find_by_bytes(first, last, wanted);
    if (last - first < vector_bytes)
        return find_by_vectors<half>(first, last, wanted);
    if (const uint8_t *code = find_at_once<vector_bytes>(first, wanted))
        return code;

    const uint8_t *at = first + (vector_bytes - reinterpret_cast<uintptr_t>(first) % vector_bytes);
    for (; last - at >= block_bytes; at += block_bytes) {
        if (!may_hold_prefix(at)) [[likely]]
            continue;
        if (const uint8_t *code = find_by_vectors<vector_bytes>(at - 1, at - 1 + block_bytes, wanted))
            return code;
    }
    return find_by_vectors<vector_bytes>(at - 1, last, wanted);
}

#else

static constexpr ptrdiff_t word_bytes = sizeof(uint32_t);
static constexpr ptrdiff_t block_bytes = 4 * word_bytes;

/* Not every machine loads a word from an odd address. */
inline uint32_t word_at(const uint8_t *aligned)
{
    uint32_t word;

    memcpy(&word, __builtin_assume_aligned(aligned, word_bytes), word_bytes);
    return word;
}

/* The highest bit of a byte is set where the byte is 01; above such a byte perhaps also where it is not. */
inline uint32_t mark_ones(uint32_t word)
{
    constexpr uint32_t ones = 0x01010101;

    return ((word ^ ones) - ones) & ~word;
}

/* Whether one of the block's bytes is 01. */
inline bool holds_one(const uint8_t *aligned)
{
    const uint32_t marks = mark_ones(word_at(aligned)) | mark_ones(word_at(aligned + word_bytes)) |
                           mark_ones(word_at(aligned + 2 * word_bytes)) |
                           mark_ones(word_at(aligned + 3 * word_bytes));

    return (marks & 0x80808080) != 0;
}

template <typename Wanted>
const uint8_t *find_start_code(const uint8_t *first, const uint8_t *last, Wanted wanted)
{
    if (last - first < block_bytes)
        return find_by_bytes(first, last, wanted);

    /* From here on `at` is where third bytes stand. */
    const uint8_t *at = first + 2;
    at += -reinterpret_cast<uintptr_t>(at) % word_bytes;
    if (const uint8_t *code = find_by_bytes(first, at - 2, wanted))
        return code;
    for (const uint8_t *last_block = last + 2 - block_bytes; at <= last_block; at += block_bytes) {
        if (!holds_one(at)) [[likely]]
            continue;
        if (const uint8_t *code = find_by_bytes(at - 2, at - 2 + block_bytes, wanted))
            return code;
    }
    return find_by_bytes(at - 2, last, wanted);
}

#endif

/* The bits of a message, from `next` to before `end`; beyond, every byte reads as 0. */
struct bit_cursor {
    const uint8_t *next;
    const uint8_t *end;
};

/* Forgets the bits that are left of a message read before. */
void resetBits();

/* The next n bits, the first one highest; n is 8 or less for an answer that is right. */
uint8_t getBits(bit_cursor *cursor, int32_t n);

/* An unsigned Exp-Golomb code. */
int16_t getUSEntropyCodedGolomb(bit_cursor *cursor);

#endif
