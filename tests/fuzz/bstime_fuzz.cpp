/*
 * The time map: the input is a list of calls, each one byte that says which and how large its numbers are,
 * and the numbers.
 */
#include <array>

#include "common/orka_bstime_internal.h"
#include "fuzz/fuzz.h"
#include "fuzz/script.h"
#include "orka_bstime.h"

using namespace orka_test;

namespace {

struct Entry {
    uint64_t time = 0, bytes = 0, used = 0, prev_time = 0, prev_bytes = 0;
};

constexpr uint64_t word(uint64_t number)
{
    return number & UINT32_MAX;
}

/* The map, by entry numbers and in wide words that are cut where a word of 32 bits would wrap. */
class Model {
  public:
    void add(uint32_t time, uint32_t bytes)
    {
        if (bytes == 0)
            return;
        Entry &entry = entries_[write];
        entry.time = time;
        entry.bytes = bytes;
        entry.used = 0;
        write = (write + 1) % 10;
        entries_[write].prev_time = time;
        entries_[write].prev_bytes = bytes;
    }

    int32_t use(uint64_t count)
    {
        for (; count != 0; read = (read + 1) % 10) {
            if (read == write)
                return -1;
            Entry &entry = entries_[read];
            const uint64_t left = word(entry.bytes - entry.used);
            if (left >= count) {
                entry.used = word(entry.used + count);
                return 0;
            }
            count -= left;
            entry.used = entry.bytes;
        }
        return 0;
    }

    uint64_t time()
    {
        Entry &entry = entries_[read];
        const size_t next = (read + 1) % 10;

        if (entry.bytes == 0)
            return 0;
        if (next != write && entries_[next].time >= entry.time) {
            const uint64_t product = word(entry.used * (entries_[next].time - entry.time));
            entry.time = word(entry.time + product / entry.bytes);
        } else if (entry.time != entry.prev_time) {
            const uint64_t rate = word(entry.prev_bytes * 1000) / word(entry.time - entry.prev_time);
            if (rate != 0)
                entry.time = word(entry.time + word(entry.used * 1000) / rate);
        }
        entry.bytes = word(entry.bytes - entry.used);
        entry.used = 0;
        return entry.time;
    }

    const std::array<Entry, 10> &entries() const { return entries_; }

    size_t write = 0;
    size_t read = 0;

  private:
    std::array<Entry, 10> entries_;
};

void compare(const orka_bstime_t &map, const Model &model)
{
    require(map.write == &map.entries[model.write], "write");
    require(map.read == &map.entries[model.read], "read");
    for (size_t i = 0; i < 10; i++) {
        const Entry &expected = model.entries()[i];
        const orka_bstime_entry &entry = map.entries[i];
        require(entry.time == expected.time && entry.bytes == expected.bytes && entry.used == expected.used &&
                    entry.prev_time == expected.prev_time && entry.prev_bytes == expected.prev_bytes,
                "an entry");
    }
}

void add(orka_bstime_t *map, Model &model, uint32_t time, uint32_t bytes)
{
    const orka_iencode_frame_t frame = {.size = bytes, .timestamp = time};

    require(orka_bstime_new_entry(map, &frame) == ORKA_STATUS_SUCCESS, "new entry");
    model.add(time, bytes);
}

void call(orka_bstime_t *map, Model &model, Script &script)
{
    const uint8_t what = script.byte();
    const unsigned wide = 1 + what / 64;

    if (what % 64 == 63) {
        require(orka_bstime_reset(map) == ORKA_STATUS_SUCCESS, "reset");
        model = Model();
    } else if (what % 3 == 0) {
        const uint32_t time = script.number(wide);
        add(map, model, time, script.number(wide));
    } else if (what % 3 == 1) {
        const uint32_t count = script.number(wide);
        require(orka_bstime_bytes_used(map, count) == model.use(count), "bytes used");
    } else {
        require(orka_bstime_get_bistream_time(map) == model.time(), "time");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    orka_bstime_t *map = orka_bstime_init();
    Model model;

    for (Script script({data, size}); !script.ended();) {
        call(map, model, script);
        compare(*map, model);
    }
    require(orka_bstime_destroy(map) == ORKA_STATUS_SUCCESS, "destroy");
    return 0;
}
