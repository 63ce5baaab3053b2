/* What the tests of all interfaces' control operations share. */
#ifndef ORKA_TESTS_CONTROL_H
#define ORKA_TESTS_CONTROL_H

#include <gtest/gtest.h>

#include "driver/driver_test.h"

namespace orka_test {

/* Records whose every byte tells where it is. */
template <typename Record>
Record *counted()
{
    static Record record;
    for (size_t i = 0; i < sizeof record; i++)
        reinterpret_cast<uint8_t *>(&record)[i] = static_cast<uint8_t>(i * 7 + 1);
    return &record;
}

template <typename Record>
Bytes counted_bytes()
{
    return bytes_of(*counted<Record>());
}

/* A control operation; what it sends is empty where it has no record. */
struct Operation {
    const char *function; /* that reports */
    const Device &device;
    uint32_t request;
    Bytes sent;
    orka_status_t (*call)();
    const char *refused;
    const char *no_node;
    orka_status_t status = ORKA_STATUS_ERROR; /* where it is refused */
    uintptr_t argument = 0;                   /* of a request without a record */
    const char *name = function;              /* of its own */

    friend void PrintTo(const Operation &operation, std::ostream *stream) { *stream << operation.name; }
};

class ControlTest : public DriverTest, public testing::WithParamInterface<Operation> {
  protected:
    size_t record_size() const { return GetParam().sent.size(); }

    void expect_sent()
    {
        expect_done(0);
        Call call = only_request();
        EXPECT_STREQ(call.path, GetParam().device.node);
        EXPECT_EQ(call.request, GetParam().request);
        EXPECT_EQ(call.sent(), GetParam().sent);
        if (GetParam().sent.empty()) {
            EXPECT_EQ(reinterpret_cast<uintptr_t>(call.argument), GetParam().argument);
        }
    }

    void expect_sent_again()
    {
        kernel.node(GetParam().device.node);
        kernel.accept(GetParam().device.node, GetParam().request, record_size());
        EXPECT_EQ(GetParam().call(), ORKA_STATUS_SUCCESS);
        EXPECT_EQ(GetParam().call(), ORKA_STATUS_SUCCESS);
        expect_one_request_twice(kernel);
    }

    /* The driver's answer is a success, or a refusal, whatever its sign. */
    void expect_done(int answer)
    {
        answer_request(answer);
        EXPECT_EQ(GetParam().call(), ORKA_STATUS_SUCCESS);
    }

    void expect_refused(int answer)
    {
        answer_request(answer);
        EXPECT_EQ(GetParam().call(), GetParam().status);
        EXPECT_EQ(log.take_error(), error_line(GetParam().function, GetParam().refused, EBUSY));
    }

    /* The report's errno is that of the name tried last. */
    void expect_no_node()
    {
        const std::vector<std::string> names = GetParam().device.names();
        kernel.missing(names.front().c_str(), EACCES);
        kernel.missing(names.back().c_str(), ENODEV);
        EXPECT_EQ(GetParam().call(), ORKA_STATUS_IO);
        EXPECT_EQ(log.take_error(), GetParam().device.missing_line(ENODEV) +
                                        error_line(GetParam().function, GetParam().no_node));
        EXPECT_EQ(kernel.paths(Fn::open), names);
    }

  private:
    void answer_request(int answer)
    {
        kernel.node(GetParam().device.node);
        kernel.refuse(GetParam().device.node, GetParam().request, record_size(), EBUSY, answer);
    }
};

template <typename Row>
std::string row_name(const testing::TestParamInfo<Row> &info)
{
    return info.param.function;
}

/* A pointer that an operation asserts. */
struct Assertion {
    const char *function;
    const Device &device;
    const char *expression;
    void (*call)();

    friend void PrintTo(const Assertion &assertion, std::ostream *stream) { *stream << assertion.function; }
};

struct GainRow {
    int db;
    uint16_t shift;
    uint16_t mantissa;
};

/* 13 dB is one past the last row; what stands there is taken for a row. */
inline constexpr GainRow gain_rows[] = {
    {-12, 0, 2067}, {-11, 0, 2602}, {-10, 0, 3276}, {-9, 0, 4125},  {-8, 0, 5193},  {-7, 0, 6537},
    {-6, 0, 8230},  {-5, 0, 10361}, {-4, 0, 13044}, {-3, 0, 16422}, {-2, 0, 20674}, {-1, 0, 26027},
    {0, 0, 32767},  {1, 1, 20625},  {2, 1, 25966},  {3, 1, 32689},  {4, 2, 20576},  {5, 2, 25904},
    {6, 2, 32611},  {7, 3, 20528},  {8, 3, 25843},  {9, 3, 32534},  {10, 4, 20479}, {11, 4, 25782},
    {12, 4, 32457}, {13, 25, 0},
};

inline Bytes halves(uint16_t a, uint16_t b, uint16_t c, uint16_t d)
{
    return words({b << 16 | a, d << 16 | c});
}

} // namespace orka_test

#endif
