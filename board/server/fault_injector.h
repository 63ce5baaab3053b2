/*
 * Lets the faults that --fault asks for happen, between the server, which hands every request in here, and
 * the drivers, which know nothing of it but how a codec hangs.
 *
 * Each fault counts the calls that it covers; the first one, in the order of the command line, that strikes a
 * call has it alone. The bits of frames on their way out are another matter: they are flipped when the driver
 * has answered, and what is counted are frames.
 */
#ifndef ORKA_BOARD_SERVER_FAULT_INJECTOR_H
#define ORKA_BOARD_SERVER_FAULT_INJECTOR_H

#include <nlohmann/json_fwd.hpp>

#include "server/fault.h"
#include "server/pending_call.h"

namespace orka::board {

class FaultInjector {
  public:
    FaultInjector(Machine &machine, const std::vector<Fault> &faults);

    /* What opening a node fails with, and how the trace marks that; 0 where it does not. */
    int opening_error(const Client &client, wire::node node, std::string &mark);
    /* Hands the call to its driver, with what is to go wrong. */
    void control(std::shared_ptr<PendingCall> call, Driver &driver);

    nlohmann::json report() const; /* for the board's status */
    void tell_idle() const;        /* a line of the log for each fault that never happened */

  private:
    struct Entry {
        Fault fault;
        size_t number; /* on the command line, from 1 */
        uint64_t calls = 0;
        uint64_t fired = 0;
    };

    Entry *next_for(const PendingCall &call);
    static bool counts(const Entry &entry, const PendingCall &call);
    static bool watches_answers(const Entry &entry, const PendingCall &call);
    void watch_answer(PendingCall &call);
    void delay(Entry &entry, const std::shared_ptr<PendingCall> &call, Driver &driver);
    void apply(Entry &entry, std::shared_ptr<PendingCall> call, Driver &driver);
    void control_without_memory(Entry &entry, std::shared_ptr<PendingCall> call, Driver &driver);
    static void answer_with_status(const Fault &fault, PendingCall &call);
    void corrupt_answer(Entry &entry, PendingCall &call, std::span<const uint8_t> out);
    std::span<uint8_t> frame_data(std::span<const uint8_t> record, size_t offset) const;
    static void flip_bits(const Entry &entry, std::span<uint8_t> data);
    static std::string mark_of(const Entry &entry);
    static void fire(Entry &entry, PendingCall &call);

    Machine &machine_;
    std::vector<Entry> entries_;
};

} // namespace orka::board

#endif
