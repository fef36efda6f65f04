// What a routine reports to its user without stopping.
//
// It collects messages by their ids; its caller looks them over, prints them or throws them away. The texts are made
// when they are asked for, in the language in force at that moment:
//
//     Notification notes;
//     import(file, notes);                                    // notes.append({"IMPORT", "lineSkipped", {line}});
//     if (!notes.empty()) notes.format(std::cerr);
//
// Thread safety: a plain value, whose copies have nothing in common. Several threads may read one at once.
#pragma once

#include <fl/export.hpp>
#include <fl/io/uostream.hpp>
#include <fl/util/ustring.hpp>
#include <resource_core/msg_id.hpp>
#include <resource_core/msg_id_holder.hpp>

#include <cstddef>
#include <iosfwd>
#include <vector>

namespace foundation::core::except {

/// Messages in the order in which they were appended.
class FL_API Notification {
 public:
  using const_iterator = std::vector<resource_core::GenericMsgIDHolder>::const_iterator;

  /// Empty.
  Notification();
  /// Deep copies of all entries, with room for no more than these.
  Notification(const Notification& other);
  /// Takes the entries over and leaves `other` empty.
  Notification(Notification&& other) noexcept;
  ~Notification();
  /// If memory ends, throws `std::bad_alloc` and keeps its entries. Nothing happens on assignment to itself.
  Notification& operator=(const Notification& other);
  Notification& operator=(Notification&& other) noexcept;

  /// Appends a copy of `id` and its arguments. If memory ends, throws `std::bad_alloc` and nothing is appended.
  void append(const resource_core::BaseMsgID& id);

  bool empty() const noexcept;
  /// Whether there are entries. Implicit, so that it can be returned and passed as a `bool`.
  operator bool() const noexcept;  // NOLINT(google-explicit-constructor)
  std::size_t size() const noexcept;

  /// The entries, oldest first, valid until the next change.
  const_iterator begin() const noexcept;
  const_iterator end() const noexcept;

  /// The id of an entry, valid until the next change. Throws `std::out_of_range` for an index beyond the end, and
  /// `GenericMsgIDHolder::EmptyGenericMsgIDHolder`, in a form that `boost::current_exception` can capture, if the
  /// holder of the entry is empty.
  const resource_core::BaseMsgID& operator[](std::size_t index) const;
  /// The text of an entry. Throws as `operator[]` does, and what `fl::i18n::MessageCatalog::get_message` throws.
  ustring getMessage(std::size_t index) const;

  /// Prints the text of each entry as a line, in the active code page, and flushes each. Throws what `getMessage` and
  /// `fl::i18n::to_string` throw, with the lines before printed. The entries stay.
  void format(std::ostream& os) const;
  /// The same in UTF-16.
  void format(io::uostream& os) const;

  /// Throws all entries away; room for as many is kept.
  void flush() noexcept;

 private:
  std::vector<resource_core::GenericMsgIDHolder> entries_;  ///< oldest first
};

}  // namespace foundation::core::except
