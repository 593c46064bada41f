// Memory for what is built once and freed as a whole: the pieces of a compiled template. Nothing is destroyed one by
// one, so that dropping a tree of any depth needs no recursion.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace qs {

class GRMustacheArena {
public:
    // `expected`: bytes that will probably be needed.
    explicit GRMustacheArena(std::size_t expected = 256) : nextChunk_(expected) {}
    GRMustacheArena(const GRMustacheArena&) = delete;
    GRMustacheArena& operator=(const GRMustacheArena&) = delete;

    template <class T, class... Arguments>
    T* make(Arguments&&... arguments) {
        static_assert(std::is_trivially_destructible_v<T>);
        return new (allocate(sizeof(T))) T(std::forward<Arguments>(arguments)...);
    }
    // Room for `count` pointers or other trivial things, not yet set.
    template <class T>
    T* array(std::size_t count) {
        static_assert(std::is_trivial_v<T>);
        return static_cast<T*>(allocate(count * sizeof(T)));
    }

private:
    static constexpr std::size_t kAlignment = alignof(std::max_align_t);
    void* allocate(std::size_t size) {
        size = (size + kAlignment - 1) / kAlignment * kAlignment;
        if (size > left_) addChunk(size);
        std::byte* place = free_;
        free_ += size;
        left_ -= size;
        return place;
    }
    void addChunk(std::size_t atLeast);

    std::vector<std::unique_ptr<std::byte[]>> chunks_;
    std::byte* free_ = nullptr;
    std::size_t left_ = 0, nextChunk_;
};

}  // namespace qs
