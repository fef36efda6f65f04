// UTF-16 streams over files, strings and byte streams in any encoding.
#pragma once

#include <fl/io/streambuf_adaptor.hpp>
#include <fl/io/streambuf_aggregator.hpp>
#include <fl/io/uifstream.hpp>
#include <fl/io/uistream.hpp>
#include <fl/io/uistringstream.hpp>
#include <fl/io/uofstream.hpp>
#include <fl/io/uostream.hpp>
#include <fl/io/uostringstream.hpp>
#include <fl/io/ustring_output.hpp>
