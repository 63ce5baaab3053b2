#include "drivers/worker.h"

#include <exception>
#include <utility>

#include "orka_media.h"

namespace orka::board {

Worker::Worker(Memory &memory, BufferSpace output, std::unique_ptr<CodecStream> stream,
               std::function<void()> notify)
    : memory_(memory), stream_(std::move(stream)), notify_(std::move(notify)), output_(std::move(output)),
      thread_([this] { loop(); })
{
}

Worker::~Worker()
{
    {
        const std::lock_guard lock(mutex_);
        quit_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

void Worker::run(bool running)
{
    {
        const std::lock_guard lock(mutex_);
        running_ = running;
    }
    changed_.notify_one();
}

void Worker::hang()
{
    {
        const std::lock_guard lock(mutex_);
        hung_ = true;
        stalled_ = false;
    }
    changed_.notify_one();
}

void Worker::submit(const Job &job)
{
    {
        const std::lock_guard lock(mutex_);
        jobs_.push_back(job);
    }
    changed_.notify_one();
}

void Worker::discard()
{
    {
        const std::lock_guard lock(mutex_);
        generation_++;
        /* A codec's header holds for what comes after, too. */
        std::erase_if(jobs_, [this](const Job &job) {
            if (job.flags & frame_header)
                return false;
            if (!job.last)
                progress_.consumed.push_back(job.address);
            return true;
        });
        for (const orka_idecode_frame_t &frame : progress_.frames)
            output_.free(frame.addr);
        progress_.frames.clear();
        stalled_ = false;
    }
    changed_.notify_one();
}

void Worker::release(uint32_t address)
{
    {
        const std::lock_guard lock(mutex_);
        output_.free(address);
        output_.prefer(address);
        stalled_ = false;
    }
    changed_.notify_one();
}

Progress Worker::collect()
{
    const std::lock_guard lock(mutex_);
    told_ = false;
    return std::exchange(progress_, {});
}

bool Worker::is_stalled()
{
    const std::lock_guard lock(mutex_);
    return stalled_;
}

/* With the mutex held. */
void Worker::tell()
{
    if (!std::exchange(told_, true))
        notify_();
}

bool Worker::next_job(std::unique_lock<std::mutex> &lock, Job &job)
{
    const auto wanted = [this] { return quit_ || (running_ && !hung_ && !jobs_.empty()); };
    if (!wanted() && !progress_.consumed.empty())
        tell();
    changed_.wait(lock, wanted);
    if (quit_)
        return false;
    job = jobs_.front();
    jobs_.pop_front();
    return true;
}

void Worker::loop()
{
    Job job;
    std::unique_lock lock(mutex_);
    while (next_job(lock, job)) {
        const bool fresh = std::exchange(job_generation_, generation_) != generation_;
        lock.unlock();
        if (fresh) {
            stream_->flush();
            damaged_packets_ = 0;
            damaged_ = false;
        }
        process(job);
        lock.lock();
    }
}

void Worker::process(const Job &job)
{
    const unsigned published = published_;
    try {
        const bool good = job.last ? stream_->drain(*this) : decode(job);
        judge(good, stream_->error());
        damaged_ = damaged_ || (!good && published == published_);
    } catch (const std::exception &failure) {
        abandon_frame();
        judge(false, failure.what());
        damaged_ = true;
    }
    if (job.last)
        end_stream();
}

bool Worker::decode(const Job &job)
{
    /* The program may write to its buffer at any time; the codec shall see one thing only. */
    const std::span<const uint8_t> data = memory_.at(job.address, job.size);
    packet_.assign(data.begin(), data.end());
    {
        const std::lock_guard lock(mutex_);
        progress_.consumed.push_back(job.address);
    }
    if (packet_.empty())
        return true;
    if (job.flags & frame_header)
        return stream_->header(packet_);
    return stream_->decode(
        {.data = packet_, .tsms = job.tsms, .duration = job.duration, .key = (job.flags & frame_key) != 0},
        *this);
}

void Worker::judge(bool good, const std::string &why)
{
    if (!stream_->stands_alone())
        return judge_packet(good, why);
    if (!good)
        say("damaged or refused: " + why);
}

/* One line when damage begins, and one when it is over. */
void Worker::judge_packet(bool good, const std::string &why)
{
    if (!good && damaged_packets_++ == 0)
        say("damaged packet: " + why);
    if (good && damaged_packets_ > 1)
        say(std::to_string(damaged_packets_) + " damaged packets one after the other");
    if (good)
        damaged_packets_ = 0;
}

void Worker::say(std::string line)
{
    const std::lock_guard lock(mutex_);
    if (outdated())
        return;
    progress_.log.push_back(std::move(line));
    tell();
}

std::span<uint8_t> Worker::reserve(uint32_t size)
{
    std::unique_lock lock(mutex_);
    if (!output_.fits(size)) {
        lock.unlock();
        say("dropped a frame of " + std::to_string(size) +
            " bytes, which is more than the output queue holds");
        damaged_ = true;
        return {};
    }
    std::optional<uint32_t> address;
    while (!outdated() && (hung_ || !(address = output_.allocate(size)))) {
        if (!hung_ && !std::exchange(stalled_, true))
            tell();
        changed_.wait(lock);
    }
    stalled_ = false;
    if (!address)
        return {};
    reserved_ = *address;
    return memory_.at(reserved_, size);
}

/* The buffer that was reserved for a frame which did not come. */
void Worker::abandon_frame()
{
    const std::lock_guard lock(mutex_);
    output_.free(std::exchange(reserved_, 0));
}

void Worker::publish(orka_idecode_frame_t frame)
{
    const std::lock_guard lock(mutex_);
    const uint32_t address = std::exchange(reserved_, 0);
    published_++;
    if (outdated()) {
        output_.free(address);
        return;
    }
    frame.addr = address;
    frame.size = output_.length_of(address);
    frame.capacity = frame.size;
    if (!stream_->stands_alone() && std::exchange(damaged_, false))
        frame.flags |= frame_damaged;
    progress_.frames.push_back(frame);
    tell();
}

void Worker::end_stream()
{
    const std::lock_guard lock(mutex_);
    if (outdated())
        return;
    const uint32_t flags = std::exchange(damaged_, false) ? uint32_t{frame_damaged} : 0;
    progress_.frames.push_back({.kind = ORKA_FRAME_TYPE_LAST, .flags = flags});
    tell();
}

} // namespace orka::board
