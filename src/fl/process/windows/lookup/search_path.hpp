// The directories of PATH, kept from one lookup to the next and split again only when PATH has changed.
#pragma once

#include <boost/filesystem/path.hpp>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace foundation::core::process::windows {

class search_path_cache {
 public:
  using directories = std::vector<boost::filesystem::path>;

  /// The directories of PATH as it is now, never null. The list does not change any more: who walks it need not care
  /// whether another thread meanwhile makes a new one. Any number of threads may ask. Throws std::bad_alloc and what
  /// the conversion to a path throws; the former list is then kept.
  std::shared_ptr<const directories> current();

 private:
  void rebuild(std::wstring value);

  std::mutex mutex_;                                // guards the two others
  std::wstring value_;                              // PATH as it was split last
  std::shared_ptr<const directories> directories_;  // null before the first lookup
};

/// The one list of the library. Built when that loads (see load.cpp), without reading the environment.
extern search_path_cache search_path;

}  // namespace foundation::core::process::windows
