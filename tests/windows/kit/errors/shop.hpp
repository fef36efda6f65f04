// User errors that two modules share: the library shop, which has the catalogs, and the test.
#pragma once

#include <kit/user_error.hpp>

#include <string>
#include <utility>

namespace shop {

class out_of_stock : public foundation::kit::user_error<out_of_stock> {
 public:
  out_of_stock(const resource_core::BaseMsgID& id, std::string thing) : user_error(id), item(std::move(thing)) {}

  std::string item;
};

class sold_out : public foundation::kit::user_error<sold_out, out_of_stock> {
 public:
  explicit sold_out(const resource_core::BaseMsgID& id) : user_error(id, "sold") {}
};

/// Throws `sold_out` with its place if nothing is left, and `out_of_stock` otherwise.
[[noreturn]] void sell(const std::string& item, int left);

}  // namespace shop
