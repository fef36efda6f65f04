// Owners of memory from the aligned heap, and the allocator over it.

#include "every_test.hpp"

#include <kit/aligned_allocator.hpp>
#include <kit/aligned_block.hpp>

#include <unordered_map>

/// Natively, a heap that has no memory says so instead of ending the program.
extern "C" [[gnu::visibility("default")]] const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}

namespace {

namespace kit = foundation::kit;
namespace mem = foundation::core::mem;

bool starts_on_the_boundary(const void* p) {
  return reinterpret_cast<std::uintptr_t>(p) % mem::vector_alignment() == 0;
}

constexpr std::size_t far_too_much = ~std::size_t{0} / 4;

TEST(AlignedBlock, OwnsItsBytesAndHandsThemOn) {
  kit::aligned_block block(100);
  ASSERT_TRUE(block);
  EXPECT_TRUE(starts_on_the_boundary(block.get()));
  EXPECT_EQ(block.size(), 100u);
  std::byte* const where = block.get();
  kit::aligned_block other(std::move(block));
  EXPECT_EQ(other.get(), where);
  EXPECT_FALSE(block);
  EXPECT_EQ(block.size(), 0u);
  block = std::move(other);
  auto& itself = block;
  block = std::move(itself);
  EXPECT_EQ(block.get(), where);
  EXPECT_EQ(block.release(), where);
  EXPECT_FALSE(block);
  block = kit::aligned_block::adopt(where, 100);
  EXPECT_EQ(block.size(), 100u);
  block.reset();
  EXPECT_EQ(block.get(), nullptr);
  EXPECT_EQ(block.size(), 0u);
  EXPECT_EQ(kit::aligned_block(0).get(), nullptr);
  EXPECT_EQ(kit::aligned_block::zeroed(0).get(), nullptr);
}

TEST(AlignedBlock, IsOfZerosWhereThatIsAskedFor) {
  {
    const kit::aligned_block used(5000);
    std::memset(used.get(), 0xAB, used.size());
  }
  const auto zeros = kit::aligned_block::zeroed(5000);
  EXPECT_TRUE(starts_on_the_boundary(zeros.get()));
  EXPECT_EQ(std::count(zeros.get(), zeros.get() + zeros.size(), std::byte{0}), 5000);
}

TEST(AlignedBlock, ResizesAndKeepsItsContentAlsoWhenThatFails) {
  kit::aligned_block block;
  block.resize(10);
  std::memset(block.get(), 7, 10);
  block.resize(100'000);
  EXPECT_EQ(block.size(), 100'000u);
  EXPECT_TRUE(starts_on_the_boundary(block.get()));
  EXPECT_THROW(block.resize(far_too_much), std::bad_alloc);
  EXPECT_EQ(block.size(), 100'000u);
  block.resize(5);
  EXPECT_EQ(std::count(block.get(), block.get() + block.size(), std::byte{7}), 5);
  block.resize(0);
  EXPECT_FALSE(block);
}

/// Counts those that live; one can refuse to be made. They are numbered from 1.
struct counted {
  static inline int alive, made, refused;
  static inline std::vector<int> gone;

  static void begin(int refuse) {
    alive = made = 0;
    refused = refuse;
    gone.clear();
  }
  counted() : number(++made) {
    if (number == refused) {
      throw std::runtime_error("refused");
    }
    ++alive;
  }
  counted(const counted&) = delete;
  counted& operator=(const counted&) = delete;
  ~counted() {
    --alive;
    gone.push_back(number);
  }

  int number;
};

TEST(AlignedPtr, OwnsObjectsAndArrays) {
  const auto text = kit::make_aligned<std::string>(3u, 'x');
  EXPECT_EQ(*text, "xxx");
  EXPECT_TRUE(starts_on_the_boundary(text.get()));
  const auto zeros = kit::make_aligned<float[]>(1000);
  EXPECT_TRUE(starts_on_the_boundary(zeros.get()));
  EXPECT_EQ(zeros.get_deleter().count, 1000u);
  EXPECT_EQ(std::count(zeros.get(), zeros.get() + 1000, 0.0f), 1000);
  EXPECT_NE(kit::make_aligned<int[]>(0), nullptr);
  EXPECT_NE(kit::make_aligned_for_overwrite<char[]>(1), nullptr);
  counted::begin(0);
  kit::make_aligned<counted[]>(3);
  kit::make_aligned_for_overwrite<counted[]>(2);
  EXPECT_EQ(counted::gone, (std::vector<int>{3, 2, 1, 5, 4}));
  struct base {};
  struct derived : base {};
  EXPECT_FALSE((std::is_convertible_v<kit::aligned_ptr<derived>, kit::aligned_ptr<base>>));
}

// That no block is lost is for the sanitizer to see.
TEST(AlignedPtr, LeavesNothingBehindWhenAConstructorThrows) {
  counted::begin(1);
  EXPECT_THROW(kit::make_aligned<counted>(), std::runtime_error);
  counted::begin(3);
  EXPECT_THROW(kit::make_aligned<counted[]>(5), std::runtime_error);
  EXPECT_EQ(counted::alive, 0);
  EXPECT_EQ(counted::made, 3);
}

template <std::size_t Alignment>
struct alignas(Alignment) aligned_to {
  std::array<char, Alignment> content;
};

template <class Allocate>
void expect_refusals(Allocate allocate) {
  EXPECT_THROW(allocate(far_too_much / sizeof(int)), std::bad_alloc);
  EXPECT_THROW(allocate(~std::size_t{0} / 2 / sizeof(int) + 1), std::bad_array_new_length);
  EXPECT_THROW(allocate(~std::size_t{0}), std::bad_array_new_length);
}

TEST(AlignedBlock, SizesAndAlignmentsThatCannotBeAreRefused) {
  ASSERT_EQ(mem::vector_alignment(), 32u) << "the default";
  EXPECT_THROW(kit::aligned_block{far_too_much}, std::bad_alloc);
  EXPECT_THROW(kit::aligned_block::zeroed(far_too_much), std::bad_alloc);
  EXPECT_THROW(kit::aligned_block(~std::size_t{0}), std::bad_alloc);
  expect_refusals([](std::size_t count) { kit::make_aligned<int[]>(count); });
  expect_refusals([](std::size_t count) { kit::make_aligned_for_overwrite<int[]>(count); });
  expect_refusals([](std::size_t count) { std::ignore = kit::aligned_allocator<int>().allocate(count); });
  EXPECT_NE(kit::make_aligned<aligned_to<32>>(), nullptr);
  const auto refusal = testing::ThrowsMessage<std::runtime_error>(
      "a type needs an alignment of 64 bytes, and the aligned heap has 32: set QX_ALIGNED_HEAP_ALIGNMENT to as much at "
      "least");
  EXPECT_THAT([] { kit::make_aligned<aligned_to<64>>(); }, refusal);
  EXPECT_THAT([] { kit::make_aligned<aligned_to<64>[]>(1); }, refusal);
  EXPECT_THAT([] { std::ignore = kit::aligned_allocator<aligned_to<64>>().allocate(1); }, refusal);
}

TEST(AlignedAllocator, ServesContainers) {
  const std::vector<float, kit::aligned_allocator<float>> lanes(1000);
  EXPECT_TRUE(starts_on_the_boundary(lanes.data()));
  std::unordered_map<int, int, std::hash<int>, std::equal_to<int>, kit::aligned_allocator<std::pair<const int, int>>>
      squares;
  for (int i = 0; i < 1000; ++i) {
    squares[i] = i * i;
  }
  EXPECT_EQ(squares.at(30), 900);
  const kit::aligned_allocator<char> bytes;
  EXPECT_TRUE(bytes == kit::aligned_allocator<int>() && !(bytes != kit::aligned_allocator<int>()));
  kit::aligned_allocator<int> any;
  any.deallocate(any.allocate(0), 0);
}

}  // namespace
