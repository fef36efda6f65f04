// An owner of one message id, or of none. Thread safety: a plain value.
#pragma once

#include <resource_core/export.hpp>
#include <resource_core/msg_id.hpp>

#include <exception>
#include <memory>

namespace resource_core {

/// Copies are deep: what they hold has nothing in common with the source.
class RESOURCE_CORE_API GenericMsgIDHolder {
 public:
  /// What was asked for is not there: the holder is empty.
  class RESOURCE_CORE_API EmptyGenericMsgIDHolder : public std::exception {
   public:
    EmptyGenericMsgIDHolder() noexcept;
    EmptyGenericMsgIDHolder(const EmptyGenericMsgIDHolder& other) noexcept;
    EmptyGenericMsgIDHolder& operator=(const EmptyGenericMsgIDHolder& other) noexcept;
    ~EmptyGenericMsgIDHolder() override;
    const char* what() const noexcept override;
  };

  /// Empty.
  GenericMsgIDHolder() noexcept;
  /// Holds a copy of `id`.
  explicit GenericMsgIDHolder(const BaseMsgID& id);
  GenericMsgIDHolder(const GenericMsgIDHolder& other);
  /// Leaves `other` empty, as move assignment does.
  GenericMsgIDHolder(GenericMsgIDHolder&& other) noexcept;
  /// If memory ends, throws `std::bad_alloc` and keeps what it held.
  GenericMsgIDHolder& operator=(const GenericMsgIDHolder& other);
  GenericMsgIDHolder& operator=(GenericMsgIDHolder&& other) noexcept;
  ~GenericMsgIDHolder();

  bool empty() const noexcept { return id_ == nullptr; }
  /// The id, owned by the holder until it is assigned to or destroyed. Throws `EmptyGenericMsgIDHolder`, in a form that
  /// `boost::current_exception` can capture, if the holder is empty.
  const BaseMsgID& get() const;

 private:
  std::unique_ptr<const BaseMsgID> id_;  ///< null: empty
};

}  // namespace resource_core
