// Argument checks of any operation, without a test for each argument.
#pragma once

#include <kelvcpx/types.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <tuple>
#include <type_traits>
#include <utility>

namespace kelvcpx::test {

namespace detail {

template <std::size_t I, class Operation, class Tuple>
void expectNullRefused(Operation operation, Tuple arguments, std::initializer_list<std::size_t> optional)
{
    if constexpr (std::is_pointer_v<std::tuple_element_t<I, Tuple>>) {
        for (const std::size_t index : optional)
            if (index == I)
                return;
        std::get<I>(arguments) = nullptr;
        EXPECT_EQ(std::apply(operation, arguments), StatusNullPointer) << "null pointer as argument " << I;
    }
}

} // namespace detail

// Calls the operation once for each pointer argument, with that argument null, and expects StatusNullPointer.
// `optional` lists the positions of arguments that may be null.
template <class... Parameter, class... Argument>
void expectNullPointersRefused(Status (*operation)(Parameter...) noexcept,
                               std::initializer_list<std::size_t> optional, Argument... arguments)
{
    const std::tuple<Parameter...> all{static_cast<Parameter>(arguments)...};
    [&]<std::size_t... I>(std::index_sequence<I...>)
    {
        (detail::expectNullRefused<I>(operation, all, optional), ...);
    }
    (std::index_sequence_for<Parameter...>{});
}

} // namespace kelvcpx::test
