/* The inside of the IMEM allocator: what its list of blocks and its mappings rest on. */
#include "common/orka_imem_internal.h"

#include <gtest/gtest.h>

#include "support/child.h"
#include "support/harness.h"

using namespace orka_test;

namespace {

class ImemHandle : public HarnessTest {
  protected:
    int32_t compare(uintptr_t vaddr)
    {
        return orka_imem_memhandle_cmp(reinterpret_cast<uintptr_t>(&handle), vaddr);
    }

    void expect_error(int32_t result, const char *message)
    {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(log.take_error(), error_line("orka_imem_memhandle_cmp", message));
    }

    orka_imem_handle_t handle = {.magic = 0x4D454D48, .version = 1, .vaddr = 0x80001000};
};

TEST_F(ImemHandle, IsEqualToItsAddress)
{
    EXPECT_EQ(compare(0x80001000), 0);
}

TEST_F(ImemHandle, IsOrderedByItsUnsignedAddress)
{
    EXPECT_EQ(compare(0x80000FFF), 1);
    EXPECT_EQ(compare(0x00001000), 1);
    EXPECT_EQ(compare(0x80001001), -1);
    EXPECT_EQ(compare(0xFFFFFFFF), -1);
}

TEST_F(ImemHandle, ThatIsNullIsReported)
{
    expect_error(orka_imem_memhandle_cmp(0, 0x1000), "ORKA_IMEM: Null Pointer Deref.");
}

TEST_F(ImemHandle, IsNotComparedWithNull)
{
    expect_error(compare(0), "ORKA_IMEM: Null Pointer Deref.");
}

TEST_F(ImemHandle, WithoutMagicIsReported)
{
    handle.magic = 0x484D454D;
    expect_error(compare(0x80001000), "ORKA_IMEM: Invalid IMEM Handle.");
}

TEST_F(ImemHandle, OfAnotherVersionIsReported)
{
    handle.version = 2;
    expect_error(compare(0x80001000), "ORKA_IMEM: Invalid IMEM Handle.");
}

TEST(ImemPage, BeginsAtOrBelowItsAddress)
{
    EXPECT_EQ(orka_imem_get_pageaddr(0x1000), 0x1000u);
    EXPECT_EQ(orka_imem_get_pageaddr(0x1FFF), 0x1000u);
    EXPECT_EQ(orka_imem_get_pageaddr(0x01000003), 0x01000000u);
    EXPECT_EQ(orka_imem_get_pageaddr(0xFFFFFFFF), 0xFFFFF000u);
}

TEST(ImemPage, ZeroEndsTheProcess)
{
    for (uintptr_t address : {0u, 1u, 0xFFFu}) {
        Ending ending = end_of([=](Kernel &) { orka_imem_get_pageaddr(address); });
        EXPECT_EQ(ending.status, 1);
        EXPECT_EQ(ending.error, fatal_line("orka_imem_get_pageaddr", "ORKA_IMEM: Invalid Page Address."));
    }
}

} // namespace
