// How benchmarks of operations are registered.
#pragma once

#include <kelvcpx/types.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>

namespace kelvcpx::bench {

// The name of the operation as the compiler spells it, so that every benchmark has the name of what it
// measures.
template <auto operation>
std::string nameOf()
{
    const std::string_view text = __PRETTY_FUNCTION__; // [with auto operation = keliCopy8x8_8u_C1R; ...]
    const auto begin = text.find("kel", text.find("operation = "));
    return std::string(text.substr(begin, text.find_first_of(";]", begin) - begin));
}

// Runs call() until the time is up. A call that fails is not what is to be measured. The compiler cannot see
// into the operations, which are those of the shared library, and leaves none of their work out.
template <class Call>
void repeat(benchmark::State& state, Call call)
{
    for ([[maybe_unused]] auto _ : state) {
        if (call() < StatusOk)
            state.SkipWithError("the operation fails");
        benchmark::ClobberMemory();
    }
}

// Registers a benchmark OPERATION/VARIANT for each operation: call(operation, data) with the data of make().
// If the data has a number of `items`, a call handles so many.
template <auto... operations, class Make, class Call>
void add(const std::string& variant, Make make, Call call)
{
    const auto addOne = [&](const std::string& name, auto operation) {
        benchmark::RegisterBenchmark((variant.empty() ? name : name + '/' + variant).c_str(),
                                     [=](benchmark::State& state) {
                                         auto data = make();
                                         repeat(state, [&] { return call(operation, data); });
                                         if constexpr (requires { data.items; })
                                             state.SetItemsProcessed(state.iterations() * data.items);
                                     });
    };
    (addOne(nameOf<operations>(), operations), ...);
}

template <class Data, auto... operations, class Call>
void add(const std::string& variant, Call call)
{
    add<operations...>(
        variant, [] { return Data(); }, call);
}

template <class Samples>
void fillWithNoise(Samples& samples, int low = 0, int high = 255)
{
    std::mt19937 random(1);
    std::uniform_int_distribution<int> values(low, high);
    for (auto& sample : samples)
        sample = static_cast<std::decay_t<decltype(sample)>>(values(random));
}

} // namespace kelvcpx::bench
