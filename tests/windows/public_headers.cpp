// Every public header, compiled as C++17 with all warnings: what a client with an older language sees. No program.
#include <conc_common/thread_name.hpp>
#include <cpp11compat/char16_streams.hpp>
#include <fl/diag.hpp>
#include <fl/except.hpp>
#include <fl/io.hpp>
#include <fl/mem.hpp>
#include <fl/process.hpp>
#include <fl/process/testing.hpp>
#include <fl/sysdep/windows/deelevate_utils.hpp>
#include <fl/sysdep/windows/process_impl.hpp>
#include <fl/system.hpp>
#include <fl/util/expected.hpp>
#include <foundation_log/control.hpp>
#include <foundation_log/logger.hpp>
#include <foundation_log/scope_trace.hpp>
#include <foundation_log/termination.hpp>
#include <i18n/convert.hpp>
#include <i18n/encoding.hpp>
#include <i18n/facet.hpp>
#include <i18n/filebuf.hpp>
#include <i18n/filesystem.hpp>
#include <i18n/message_argument.hpp>
#include <i18n/message_catalog.hpp>
#include <i18n/path.hpp>
#include <i18n/stream_converter.hpp>
#include <resource_core/msg_id.hpp>
#include <resource_core/msg_id_holder.hpp>
#include <safe_env/environment.hpp>

#include <kit/aligned_allocator.hpp>
#include <kit/aligned_block.hpp>
#include <kit/aligned_heap_resource.hpp>
#include <kit/arena_resource.hpp>
#include <kit/arguments.hpp>
#include <kit/by_lines.hpp>
#include <kit/cancellation.hpp>
#include <kit/console.hpp>
#include <kit/crash_handler.hpp>
#include <kit/describe_system.hpp>
#include <kit/exit_code_text.hpp>
#include <kit/job.hpp>
#include <kit/locked_resource.hpp>
#include <kit/pool.hpp>
#include <kit/pool_resource.hpp>
#include <kit/progress_line.hpp>
#include <kit/recode.hpp>
#include <kit/replacing_file.hpp>
#include <kit/run.hpp>
#include <kit/run_all.hpp>
#include <kit/run_output.hpp>
#include <kit/shell_text.hpp>
#include <kit/throw_with_location.hpp>
#include <kit/user_error.hpp>

#ifdef _WINDOWS_
#error "a public header includes a Windows header"
#endif
