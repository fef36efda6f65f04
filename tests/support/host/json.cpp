// The JSON parser, which elsewhere than on Windows comes from headers alone.
#include <boost/json/src.hpp>
