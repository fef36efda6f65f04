#include <fl/except/shared_error_info.hpp>

#include <boost/exception/info.hpp>

#include <atomic>
#include <map>
#include <string>

namespace {

using namespace boost::exception_detail;
using fact_ptr = boost::shared_ptr<error_info_base>;

class shared_error_info final : public error_info_container {
 public:
  const char* diagnostic_information(const char* header) const override {
    if (header != nullptr) {
      std::string text(header);
      for (const auto& entry : facts_) {
        text += entry.second->name_value_string();
      }
      diagnostics_.swap(text);
    }
    return diagnostics_.c_str();
  }

  fact_ptr get(const type_info_& type) const override {
    const auto found = facts_.find(type);
    return found != facts_.end() ? found->second : fact_ptr();
  }

  void set(const fact_ptr& fact, const type_info_& type) override {
    facts_[type] = fact;
    diagnostics_.clear();
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
    for (const auto& entry : facts_) {
      copy->facts_.emplace(entry.first, fact_ptr(entry.second->clone()));
    }
    return result;
  }

 private:
  std::map<type_info_, fact_ptr> facts_;
  mutable std::string diagnostics_;  ///< what diagnostic_information returned last; empty once a fact was added
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
