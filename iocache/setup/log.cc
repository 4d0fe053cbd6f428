// The diagnostics log: off unless the environment asks for it, to standard output, to a file, or both.
// No lock is taken; a failed write is nobody's failure.

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>

#include <sys/stat.h>

#include "iocache/setup/setup.h"
#include "iocache/setup/unique_file.h"

int32_t tq_logs = 0;
int32_t tq_log = 0;
FILE* log_fp = nullptr;

namespace {

using namespace iocache::setup;

constexpr int32_t product_name_item = 22;
constexpr int32_t product_release_item = 23;
constexpr size_t tool_line_bytes = 200;
constexpr mode_t log_file_mode = 0666;
constexpr const char* line_format = "%-17s: %s ";  // label, value, and a blank at the end
constexpr const char* compile_time = __DATE__ " " __TIME__;

void write_line(FILE* out, int32_t level, const char* text)
{
    for (int32_t i = 0; i < level; ++i) std::fputs("  ", out);
    std::fputs(text, out);
    std::fputc('\n', out);
}

void log_labelled(const char* label, const char* value)
{
    char line[256];
    std::snprintf(line, sizeof line, line_format, label, value != nullptr ? value : "");
    cv_log_string(0, line);
}

// ctime ends its text with a newline, so that the log shows the date and then a line of one blank.
void log_time(const char* label)
{
    const std::time_t now = std::time(nullptr);
    log_labelled(label, std::ctime(&now));
}

// Without the folder there is no file, and nobody is told.
FILE* create_log_file()
{
    const char* const folder = std::getenv("TQ_IMG0");
    if (folder == nullptr) return nullptr;
    std::string path = std::string(folder) + "/LOG.XXXXXX";
    const int descriptor = create_unique_file(path, log_file_mode);
    return descriptor < 0 ? nullptr : fdopen(descriptor, "w");
}

}  // namespace

void cv_log_string(int32_t level, const char* text)
{
    if (tq_logs == 1) write_line(stdout, level, text);
    if (tq_log == 1) {
        write_line(log_fp, level, text);
        std::fflush(log_fp);  // complete to the last line, also when the process is killed
    }
}

void cv_log_tool(const char* text, const char* object, const char* tool)
{
    char line[tool_line_bytes];
    std::snprintf(line, sizeof line, "%s OBJECT : %s TOOL : %s", text, object, tool);
    cv_log_string(0, line);
}

void iocache::setup::start_log()
{
    tq_logs = std::getenv("TQ_CRE_LOGS") != nullptr ? 1 : 0;
    tq_log = 0;
    if (std::getenv("TQ_CRE_LOG") != nullptr) log_fp = create_log_file();
    if (std::getenv("TQ_CRE_LOG") != nullptr && log_fp != nullptr) tq_log = 1;
    if (tq_logs == 0 && tq_log == 0) return;  // finding out the local time alone reads a file

    log_time("Tessera started");
    log_labelled("Host product", configured_text(product_name_item));
    log_labelled("Host release", configured_text(product_release_item));
    log_labelled("Library release", IOCACHE_RELEASE);
    log_labelled("Library compiled", compile_time);
}

void iocache::setup::end_log()
{
    cv_log_string(0, "");
    log_time("Tessera ended");
    if (tq_log == 1) std::fclose(log_fp);
    tq_log = 0;
    log_fp = nullptr;
}
