#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <future>
#include <thread>
#include <type_traits>

namespace inspector {

/// Lets all processors at a range of @p count: @p work makes a result of a piece of @p size, from
/// one index to the one behind another, and @p take gets the results in order.
template <class Work, class Take>
void inPieces(std::size_t count, std::size_t size, const Work& work, const Take& take) {
    using Result = std::invoke_result_t<Work, std::size_t, std::size_t>;
    const std::size_t workers = std::max(1U, std::thread::hardware_concurrency());
    // What is done waits here, so there are never more results than workers.
    std::deque<std::future<Result>> pieces;
    const auto takeFirst = [&] {
        take(pieces.front().get());
        pieces.pop_front();
    };
    for (std::size_t begin = 0; begin < count; begin += size) {
        if (pieces.size() == workers)
            takeFirst();
        // A single piece needs no thread.
        pieces.push_back(std::async(count <= size ? std::launch::deferred : std::launch::async,
                                    work, begin, std::min(begin + size, count)));
    }
    while (!pieces.empty())
        takeFirst();
}

} // namespace inspector
