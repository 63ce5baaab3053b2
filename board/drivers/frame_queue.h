/*
 * Frames on their way out of an encoder: a range of physical memory, the frames in it that wait to be taken,
 * and those that a program holds.
 *
 *     put -> waiting -> taken -> released
 *
 * Frames waiting and taken together are at most as many as the queue counts; LAST, which has no data, takes
 * no place and is never held. Made and ended on the reactor's thread; any thread may call.
 */
#ifndef ORKA_BOARD_FRAME_QUEUE_H
#define ORKA_BOARD_FRAME_QUEUE_H

#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include <nlohmann/json_fwd.hpp>

#include "drivers/buffer_space.h"
#include "orka_iencode.h"
#include "server/memory.h"

namespace orka::board {

class FrameQueue {
  public:
    /* Null when there is no memory. */
    static std::shared_ptr<FrameQueue> create(Memory &memory, uint64_t bytes, uint32_t count);
    ~FrameQueue();
    FrameQueue(const FrameQueue &) = delete;
    FrameQueue &operator=(const FrameQueue &) = delete;

    uint32_t base() const { return base_; }
    uint32_t length() const { return length_; }
    nlohmann::json report() const;            /* for the board's status */
    uint32_t limit() const { return count_; } /* frames */

    /* Called, with the queue locked, when there may be more room than before. */
    void on_room(std::function<void()> handler);

    /* Copies the data; address, size and capacity are filled in. False where there is no room now. */
    bool put(orka_iencode_frame_t frame, std::span<const uint8_t> data);
    /* The same, with room made by dropping the oldest that wait; how many were dropped, the frame itself
       where all that is taken leaves no room. */
    unsigned put_over(orka_iencode_frame_t frame, std::span<const uint8_t> data);
    void put_last(orka_iencode_frame_t frame);
    /* A buffer of the range, for the program to fill; frames do not count it. */
    std::optional<uint32_t> lend(uint32_t bytes);
    void take_back(uint32_t address);
    bool fits(uint32_t bytes) const; /* once everything is released */
    bool has_place() const;          /* for one more frame, as far as their number goes */

    bool readable() const { return waiting() != 0; }
    uint32_t waiting() const;
    uint32_t held() const; /* by the program */
    std::optional<orka_iencode_frame_t> take();
    bool release();                 /* the oldest that is held; false where none is */
    bool release(uint32_t address); /* that one; false where it is not held */

  private:
    FrameQueue(Memory &memory, uint32_t base, uint32_t length, uint32_t count);
    bool place(orka_iencode_frame_t &frame, std::span<const uint8_t> data);
    bool drop_oldest();
    bool give_back(uint32_t address);
    bool is_full() const { return space_.count() - lent_ >= count_; }

    Memory &memory_;
    const uint32_t base_;
    const uint32_t length_;
    const uint32_t count_;

    mutable std::mutex mutex_;
    std::function<void()> room_came_ = [] {};
    BufferSpace space_;
    uint32_t lent_ = 0;
    std::deque<orka_iencode_frame_t> waiting_;
    std::deque<uint32_t> held_; /* addresses, in the order in which they were taken */
};

} // namespace orka::board

#endif
