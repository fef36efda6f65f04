// Boost.Process as it was from the beginning. Later versions keep that in a folder and a namespace of its own.
#pragma once

#if __has_include(<boost/process/v1/child.hpp>)
#include <boost/process/v1/child.hpp>
#include <boost/process/v1/io.hpp>
#include <boost/process/v1/pipe.hpp>
#include <boost/process/v1/start_dir.hpp>
namespace boost_process = boost::process::v1;
#else
#include <boost/process/child.hpp>
#include <boost/process/io.hpp>
#include <boost/process/pipe.hpp>
#include <boost/process/start_dir.hpp>
namespace boost_process = boost::process;
#endif
