// A stack whose first items lie in itself, so that the many short ones take nothing from the heap.
#pragma once

#include <cstddef>
#include <type_traits>
#include <vector>

namespace pelorus {

template <class T, size_t ROOM = 32>
    requires std::is_trivially_copyable_v<T>
class SMALL_STACK {
public:
    bool empty() const { return count == 0; }
    size_t size() const { return count; }
    // Needs: index < size().
    const T& operator[](size_t index) const { return index < ROOM ? first[index] : others[index - ROOM]; }
    void push(const T& item) {
        if (count < ROOM)
            first[count] = item;
        else
            others.push_back(item);
        count++;
    }
    // Needs: not empty.
    T pop() {
        if (--count < ROOM) return first[count];
        const T item = others.back();
        others.pop_back();
        return item;
    }

private:
    size_t count = 0;
    T first[ROOM]; // only the first `count` have a value
    std::vector<T> others;
};

} // namespace pelorus
