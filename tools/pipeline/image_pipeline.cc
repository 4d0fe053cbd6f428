// Two threads and four queues: decoded blocks and bands, each forth (full) and back (empty).
#include "tools/pipeline/image_pipeline.h"

#include <csignal>
#include <exception>
#include <thread>

#include "tools/interrupt.h"
#include "tools/pipeline/band_builder.h"
#include "tools/pipeline/channel.h"

namespace iocache::tools {

namespace {

constexpr int decoded_blocks = 4;
constexpr int bands = 3;

// Signals are for the main thread, where transfers know how to go on after one.
void block_signals()
{
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

class pipeline {
public:
    pipeline(image_source& source, const converter& colours, std::int32_t rows)
        : source_(source),
          builder_(source.description(), colours, rows)
    {
        for (int i = 0; i < decoded_blocks; ++i) empty_blocks_.push({});
        for (int i = 0; i < bands; ++i) empty_bands_.push({});
    }

    void run(const std::function<void(const canvas_block&)>& take)
    {
        {
            // Destroyed in reverse: first no queue holds a thread up, then both threads are waited for.
            const std::jthread decoder([this] { stage(decode_problem_, full_blocks_, [this] { decode(); }); });
            const std::jthread converter([this] { stage(convert_problem_, full_bands_, [this] { convert(); }); });
            const struct release {
                pipeline& self;
                ~release() { self.abandon(); }
            } release_threads{*this};
            while (auto band = full_bands_.pop()) {
                check_interrupt();
                take(*band);
                empty_bands_.push(std::move(*band));
            }
        }
        if (decode_problem_) std::rethrow_exception(decode_problem_);
        if (convert_problem_) std::rethrow_exception(convert_problem_);
    }

private:
    image_source& source_;  // the decoder's thread
    band_builder builder_;  // the converter's thread
    channel<image_block> empty_blocks_;
    channel<image_block> full_blocks_;
    channel<canvas_block> empty_bands_;
    channel<canvas_block> full_bands_;
    std::exception_ptr decode_problem_;  // read when the threads have ended
    std::exception_ptr convert_problem_;

    template <class Output, class Work>
    static void stage(std::exception_ptr& problem, channel<Output>& output, const Work& work)
    {
        block_signals();
        try {
            work();
        } catch (...) {
            problem = std::current_exception();
        }
        output.close();
    }

    void decode()
    {
        while (auto block = empty_blocks_.pop()) {
            if (!source_.read(*block)) return;
            full_blocks_.push(std::move(*block));
        }
    }

    void convert()
    {
        auto band = empty_bands_.pop();
        const auto full = [&](canvas_block& done) {
            full_bands_.push(std::move(done));
            band = empty_bands_.pop();
            return band.has_value();
        };
        while (band) {
            auto block = full_blocks_.pop();
            if (!block || !builder_.add(*block, *band, full)) break;
            empty_blocks_.push(std::move(*block));
        }
        // Whatever ended the work, the decoder must not wait for buffers that never come back.
        empty_blocks_.abandon();
    }

    void abandon()
    {
        empty_blocks_.abandon();
        full_blocks_.abandon();
        empty_bands_.abandon();
        full_bands_.abandon();
    }
};

}  // namespace

void run_pipeline(image_source& source, const converter& colours, std::int32_t band_rows,
                  const std::function<void(const canvas_block&)>& take)
{
    pipeline(source, colours, band_rows).run(take);
}

}  // namespace iocache::tools
