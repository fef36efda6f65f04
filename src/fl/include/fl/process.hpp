// Everything about processes: describing, starting and following children, and the pipes between them.
#pragma once

#include <fl/process/command.hpp>
#include <fl/process/context.hpp>
#include <fl/process/errors.hpp>
#include <fl/process/exit_status.hpp>
#include <fl/process/iopipe.hpp>
#include <fl/process/mock_process.hpp>
#include <fl/process/process.hpp>
#include <fl/process/redirection.hpp>
#include <fl/process/this_process.hpp>
#include <fl/process/which.hpp>
