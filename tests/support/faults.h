// Argument checks of an operation from one table, their order included.
#pragma once

#include <kelvcpx/types.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <type_traits>
#include <vector>

namespace kelvcpx::test {

// Something wrong with the arguments, which are the fields of a Request.
template <class Request>
struct Fault {
    Status status;
    std::function<void(Request&)> commit;
};

template <class Request, class Field>
Fault<Request> fault(Status status, Field Request::*field, std::type_identity_t<Field> value)
{
    return {status, [=](Request& request) { request.*field = value; }};
}

// Calls operation(request) with each fault alone and with each pair of faults, and expects the status of the
// earlier one: `faults` are in the order in which the operation checks for them.
template <class Request, class Operation>
void expectFaultsRefused(const Request& good, const std::vector<Fault<Request>>& faults, Operation operation)
{
    for (std::size_t i = 0; i < faults.size(); i++)
        for (std::size_t later = i; later < faults.size(); later++) {
            Request request = good;
            faults[later].commit(request);
            faults[i].commit(request);
            EXPECT_EQ(operation(request), faults[i].status) << "faults " << i << " and " << later;
        }
}

} // namespace kelvcpx::test
