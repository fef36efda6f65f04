// The module that throws, compiled as C++17.
#include "shop.hpp"

#include "messages.hpp"

#include <kit/throw_with_location.hpp>

void shop::sell(const std::string& item, int left) {
  if (left == 0) {
    foundation::kit::throw_with_location(sold_out(messages::SHOP::soldOut(item)));
  }
  throw out_of_stock(messages::SHOP::outOfStock(item, left), item);
}
