#include <fl/except/shared_error_info.hpp>

#include <boost/exception/info.hpp>

#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace boost::exception_detail;
using fact_ptr = boost::shared_ptr<error_info_base>;

/// A list that only grows, so that any number of threads may read it while another one adds to it.
template <class T>
class growing_list {
 public:
  struct node {
    T value;
    node* older;
  };

  growing_list() = default;
  growing_list(const growing_list&) = delete;
  growing_list& operator=(const growing_list&) = delete;
  ~growing_list() {
    for (const node* each = newest_.load(); each != nullptr;) {
      delete std::exchange(each, each->older);
    }
  }

  /// The first node, from the newest on, whose value meets the condition; null if none does.
  template <class Condition>
  node* find(Condition condition) const {
    node* each = newest_.load(std::memory_order_acquire);
    while (each != nullptr && !condition(each->value)) {
      each = each->older;
    }
    return each;
  }

  /// From the newest on.
  template <class Work>
  void for_each(Work work) const {
    for (const node* each = newest_.load(std::memory_order_acquire); each != nullptr; each = each->older) {
      work(each->value);
    }
  }

  /// Throws std::bad_alloc.
  node* add(T value) {
    node* const added = new node{std::move(value), newest_.load(std::memory_order_relaxed)};
    while (!newest_.compare_exchange_weak(added->older, added, std::memory_order_release, std::memory_order_relaxed)) {
    }
    return added;
  }

 private:
  std::atomic<node*> newest_{nullptr};
};

/// The first `what()` attaches the text while other threads read what is attached, and copy it; all other attaching has
/// the container to itself.
class shared_error_info final : public error_info_container {
 public:
  /// The library itself tells one exception on several threads, so a text that was given out stays.
  const char* diagnostic_information(const char* header) const override {
    if (header == nullptr) {
      const auto* const last = last_text_.load(std::memory_order_acquire);
      return last != nullptr ? last->value.c_str() : "";
    }
    std::string text(header);
    for (const fact& each : sorted_facts()) {
      text += each.second->name_value_string();
    }
    auto* given = texts_.find([&](const std::string& known) { return known == text; });
    if (given == nullptr) {
      given = texts_.add(std::move(text));
    }
    last_text_.store(given, std::memory_order_release);
    return given->value.c_str();
  }

  fact_ptr get(const type_info_& type) const override {
    const auto* const found = node_of(type);
    return found != nullptr ? found->value.second : fact_ptr();
  }

  void set(const fact_ptr& added, const type_info_& type) override {
    if (auto* const found = node_of(type)) {
      found->value.second = added;
    } else {
      facts_.add({type, added});
    }
    last_text_.store(nullptr, std::memory_order_relaxed);
  }

  void add_ref() const override { owners_.fetch_add(1, std::memory_order_relaxed); }
  bool release() const override {
    if (owners_.fetch_sub(1, std::memory_order_acq_rel) != 1) {
      return false;
    }
    delete this;
    return true;
  }

  refcount_ptr<error_info_container> clone() const override {
    refcount_ptr<error_info_container> result;
    auto* const copy = new shared_error_info;
    result.adopt(copy);
    facts_.for_each([&](const fact& each) { copy->facts_.add({each.first, fact_ptr(each.second->clone())}); });
    return result;
  }

 private:
  using fact = std::pair<type_info_, fact_ptr>;

  growing_list<fact>::node* node_of(const type_info_& type) const {
    return facts_.find([&](const fact& each) { return *each.first.type_ == *type.type_; });
  }

  /// In the order in which Boost tells them.
  std::vector<fact> sorted_facts() const {
    std::vector<fact> all;
    facts_.for_each([&](const fact& each) { all.push_back(each); });
    std::sort(all.begin(), all.end(), [](const fact& a, const fact& b) { return a.first < b.first; });
    return all;
  }

  growing_list<fact> facts_;
  mutable growing_list<std::string> texts_;  ///< all that diagnostic_information has returned
  mutable std::atomic<growing_list<std::string>::node*> last_text_{nullptr};  ///< null once a fact was added
  mutable std::atomic<int> owners_{0};
};

struct container_access;  // No fact: it only opens the door below.

}  // namespace

// Boost's exception lets only its own functions at the container; this template is among them.
template <>
struct boost::exception_detail::get_info<container_access> {
  static refcount_ptr<error_info_container>& container(const boost::exception& error) { return error.data_; }
};

namespace foundation::core::except::detail {

void ensure_shared_error_info(const boost::exception& error) {
  auto& container = get_info<container_access>::container(error);
  if (container.get() == nullptr) {
    // Owned before it is published: a copy that another thread makes and drops at once must not be the last owner.
    refcount_ptr<error_info_container> made;
    made.adopt(new shared_error_info);
    container = made;
  }
}

}  // namespace foundation::core::except::detail
