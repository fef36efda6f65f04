// The directories of PATH, kept from one lookup to the next and split again only when PATH has changed.
#pragma once

#include "util/kept_for_text.hpp"

#include <boost/filesystem/path.hpp>

#include <memory>
#include <vector>

namespace foundation::core::process::windows {

class search_path_cache {
 public:
  using directories = std::vector<boost::filesystem::path>;

  /// The directories of PATH as it is now, never null; the list does not change any more. Any number of threads may
  /// ask. Throws std::bad_alloc and what the conversion to a path throws; the former list is then kept.
  std::shared_ptr<const directories> current();

 private:
  util::kept_for_text<directories> kept_;
};

/// The one list of the library. Built when that loads (see load.cpp), without reading the environment.
extern search_path_cache search_path;

}  // namespace foundation::core::process::windows
