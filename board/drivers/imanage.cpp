/* The IMEM manager: blocks of physical memory, and the codec image that the DSP runs. */
#include "drivers/driver.h"

#include <cerrno>
#include <cstring>
#include <map>
#include <utility>

#include <nlohmann/json.hpp>

#include "drivers/serial_ports.h"
#include "dsp/images.h"
#include "server/log.h"

namespace orka::board {

namespace {

class ImanageDriver final : public Driver {
  public:
    explicit ImanageDriver(Machine &machine) : machine_(machine) {}

    void closed(File &file) override;
    void control(std::shared_ptr<Call> call) override;
    void report(nlohmann::json &status) const override;

  private:
    void load(Call &call);
    void reset(Call &call);
    void allocate(Call &call);
    void free(Call &call);
    bool admit_to_ports(Call &call);
    void read_port(Call &call);
    void write_port(Call &call);

    Machine &machine_;
    std::map<uint32_t, uint32_t> owners_; /* of each block, the number of the file that asked for it */
    SerialPorts ports_;
    uint32_t loads_ = 0; /* of images, when the ports were set */
};

/*
 * Blocks outlive their program, so that another can go on with them; a board told to reclaim takes them
 * back.
 */
void ImanageDriver::closed(File &file)
{
    if (!machine_.options.reclaim)
        return;
    std::erase_if(owners_, [&](const auto &owned) {
        return owned.second == file.number() && machine_.memory.imem().free(owned.first);
    });
}

void ImanageDriver::control(std::shared_ptr<Call> call)
{
    switch (call->row().number) {
    case wire::IMANAGE_LOAD:
        return load(*call);
    case wire::IMANAGE_RESET:
        return reset(*call);
    case wire::IMANAGE_ALLOC:
        return allocate(*call);
    case wire::IMANAGE_FREE:
        return free(*call);
    case wire::IMANAGE_READ_MCBSP:
        return read_port(*call);
    case wire::IMANAGE_WRITE_MCBSP:
        return write_port(*call);
    default:
        return call->fail(ENOTTY);
    }
}

void ImanageDriver::load(Call &call)
{
    const auto *const text = reinterpret_cast<const char *>(call.in().data());
    const std::string name(text, strnlen(text, call.in().size()));

    if (name.size() == call.in().size() || !find_image(name)) {
        machine_.log("imanage: no codec image \"" + printable(name) +
                     "\"; the library's codec selection names those that there are");
        return call.fail(EINVAL);
    }
    machine_.dsp_image = name;
    machine_.dsp_window.load(this, name);
    call.reply();
}

void ImanageDriver::reset(Call &call)
{
    machine_.memory.imem().reset();
    owners_.clear();
    ports_.reset();
    call.reply();
}

void ImanageDriver::allocate(Call &call)
{
    const auto bytes = call.record<uint32_t>();
    if (bytes == 0)
        return call.fail(EINVAL);
    const std::optional<uint32_t> address = machine_.memory.imem().allocate(bytes);
    if (!address)
        return call.fail(ENOMEM);
    owners_[*address] = call.file().number();
    call.reply_record(*address);
}

void ImanageDriver::free(Call &call)
{
    const auto address = call.record<uint32_t>();
    if (!machine_.memory.imem().free(address))
        return call.fail(EINVAL);
    owners_.erase(address);
    call.reply();
}

/* Another image begins with the ports as they are after a reset. */
bool ImanageDriver::admit_to_ports(Call &call)
{
    if (std::exchange(loads_, machine_.dsp_window.loads()) != machine_.dsp_window.loads())
        ports_.reset();
    if (machine_.dsp_window.has_serial_ports())
        return true;
    machine_.log("imanage: no image is loaded that serves the serial ports; mpeg4_g711_aec_codec does, and "
                 "the others that cancel echo");
    call.fail(EOPNOTSUPP);
    return false;
}

void ImanageDriver::read_port(Call &call)
{
    if (!admit_to_ports(call))
        return;
    auto record = call.record<orka_imem_mcbsp_registers_t>();
    if (!ports_.read(record))
        return call.fail(EINVAL);
    call.reply_record(record);
}

void ImanageDriver::write_port(Call &call)
{
    if (!admit_to_ports(call))
        return;
    const auto record = call.record<wire::mcbsp_write_record>();
    if (!ports_.write(record.port, record.address, record.value))
        return call.fail(EINVAL);
    call.reply();
}

void ImanageDriver::report(nlohmann::json &status) const
{
    const RangeAllocator &pool = machine_.memory.imem();
    nlohmann::json blocks = nlohmann::json::array();
    for (const auto &[address, bytes] : pool.blocks())
        blocks.push_back({{"address", address}, {"bytes", bytes}});
    status["imem"] = {
        {"base", pool.base()}, {"bytes", pool.length()}, {"free", pool.available()}, {"blocks", blocks}};
    status["image"] = machine_.dsp_image;
}

} // namespace

std::unique_ptr<Driver> make_imanage_driver(Machine &machine)
{
    return std::make_unique<ImanageDriver>(machine);
}

} // namespace orka::board
