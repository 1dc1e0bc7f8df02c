// Strongly connected components: small graphs by hand, and long chains, which may take no stack.
#include "ipa/components.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace pelorus {
namespace {

GRAPH_EDGES graph_of(const std::vector<std::vector<uint32_t>>& lists) {
    GRAPH_EDGES graph;
    for (const std::vector<uint32_t>& list : lists) {
        graph.targets.insert(graph.targets.end(), list.begin(), list.end());
        graph.end_node();
    }
    return graph;
}

TEST(Components, CalleesComeFirst) {
    // 0 calls 1 and 3; 1, 2 and 4 call each other in a circle, which calls 5; 3 calls itself and 5.
    const COMPONENTS found = find_components(graph_of({{1, 3}, {2}, {4}, {3, 5}, {1, 5, 2}, {}}));
    ASSERT_EQ(found.count(), 4u);
    EXPECT_THAT(found.component, testing::ElementsAre(3, 1, 1, 2, 1, 0));
    EXPECT_THAT(std::vector(found.of(1).begin(), found.of(1).end()), testing::UnorderedElementsAre(1, 2, 4));
    EXPECT_EQ(find_components({}).count(), 0u);
}

TEST(Components, LongChainsAndCircles) {
    constexpr uint32_t COUNT = 300'000;
    std::vector<std::vector<uint32_t>> chain(COUNT);
    for (uint32_t i = 0; i + 1 < COUNT; ++i) chain[i] = {i + 1};
    const COMPONENTS apart = find_components(graph_of(chain));
    EXPECT_EQ(apart.count(), COUNT);
    EXPECT_EQ(apart.component[0], COUNT - 1);
    chain.back() = {0};
    EXPECT_EQ(find_components(graph_of(chain)).count(), 1u);
}

} // namespace
} // namespace pelorus
