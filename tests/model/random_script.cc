// Random scripts and their shrinking: the only source that includes RapidCheck.
#include <rapidcheck.h>

#include <algorithm>
#include <numeric>
#include <tuple>

#include "tests/model/script.h"

namespace iocache_test {

namespace {

// Weights, not names, are drawn: a smaller draw is a simpler kind.
size_t kind_of(int32_t drawn)
{
    size_t kind = 0;
    while (drawn >= step_kinds()[kind].weight) drawn -= step_kinds()[kind++].weight;
    return kind;
}

using drawn_step = std::tuple<int32_t, int32_t, int32_t, int32_t, int32_t, int32_t>;

rc::Gen<step> random_step()
{
    const int32_t weights = std::accumulate(step_kinds().begin(), step_kinds().end(), 0,
                                            [](int32_t sum, const step_kind& kind) { return sum + kind.weight; });
    const auto number = [](int32_t limit) { return rc::gen::inRange<int32_t>(0, limit); };
    return rc::gen::map(rc::gen::tuple(number(weights), number(number_limit), number(number_limit),
                                       number(number_limit), number(number_limit), number(number_limit)),
                        [](const drawn_step& drawn) {
                            const auto& [kind, canvas, a, b, c, d] = drawn;
                            return step{kind_of(kind), canvas, {a, b, c, d}};
                        });
}

rc::Gen<script> random_script(int32_t most_steps)
{
    const auto steps = rc::gen::resize(
        most_steps, rc::gen::container<std::vector<step>>(rc::gen::resize(rc::kNominalSize, random_step())));
    const auto start =
        rc::gen::resize(rc::kNominalSize, rc::gen::tuple(rc::gen::element(mode::in_line, mode::process),
                                                         rc::gen::element(8, 12, 30), rc::gen::element(3, 8, 50)));
    return rc::gen::map(rc::gen::pair(start, steps), [](auto drawn) {
        const auto& [how, zones, canvases] = drawn.first;
        return script{how, zones, canvases, std::move(drawn.second)};
    });
}

// Scripts with some steps less: halves, then quarters, and so on to single steps.
class fewer_steps {
public:
    explicit fewer_steps(script whole) : whole_(std::move(whole)), size_(std::max<size_t>(whole_.steps.size() / 2, 1))
    {}

    rc::Maybe<script> operator()()
    {
        if (at_ >= whole_.steps.size()) {
            size_ /= 2;
            at_ = 0;
        }
        if (size_ == 0 || whole_.steps.empty()) return rc::Nothing;
        script fewer = whole_;
        const auto from = fewer.steps.begin() + static_cast<std::ptrdiff_t>(at_);
        const size_t count = std::min(size_, fewer.steps.size() - at_);
        fewer.steps.erase(from, from + static_cast<std::ptrdiff_t>(count));
        at_ += size_;
        return fewer;
    }

private:
    script whole_;
    size_t size_;
    size_t at_ = 0;
};

// The same step with one number smaller.
rc::Seq<step> smaller_numbers(const step& one)
{
    auto all = rc::seq::map(rc::shrink::towards(one.canvas, 0), [one](int32_t canvas) {
        return step{one.what, canvas, one.numbers};
    });
    for (size_t i = 0; i < one.numbers.size(); ++i) {
        auto smaller = rc::seq::map(rc::shrink::towards(one.numbers.at(i), 0), [one, i](int32_t number) {
            step changed = one;
            changed.numbers.at(i) = number;
            return changed;
        });
        all = rc::seq::concat(std::move(all), std::move(smaller));
    }
    return all;
}

rc::Seq<script> simpler(const script& what)
{
    auto smaller = rc::seq::map(rc::shrink::eachElement(what.steps, smaller_numbers), [what](std::vector<step> steps) {
        return script{what.how, what.zones, what.most_canvases, std::move(steps)};
    });
    return rc::seq::concat(rc::makeSeq<fewer_steps>(what), std::move(smaller));
}

}  // namespace

search_result run_random_script(const random_choice& choice, const std::function<bool(const script&)>& fails)
{
    search_result result;
    result.original = random_script(choice.most_steps)(rc::Random(choice.seed), rc::kNominalSize).value();
    result.shortest = result.original;
    result.found = fails(result.original);
    auto candidates = result.found ? simpler(result.original) : rc::Seq<script>();
    while (result.runs < choice.most_runs) {
        auto candidate = candidates.next();
        if (!candidate) break;
        ++result.runs;
        if (!fails(*candidate)) continue;
        result.shortest = *candidate;
        candidates = simpler(*candidate);
    }
    return result;
}

}  // namespace iocache_test
