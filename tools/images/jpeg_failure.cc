// The callbacks libjpeg makes when something is wrong.
#include "tools/images/jpeg_failure.h"

#include <algorithm>
#include <iterator>

#include <jerror.h>

namespace iocache::tools {

jpeg_error_mgr* jpeg_failure::install()
{
    jpeg_std_error(&manager_.base);
    manager_.base.error_exit = leave;
    manager_.base.emit_message = warn;
    return &manager_.base;
}

void jpeg_failure::leave(j_common_ptr decoder)
{
    auto* const self = reinterpret_cast<manager*>(decoder->err);
    self->base.format_message(decoder, self->text);
    self->code = self->base.msg_code;
    jump_to(self->jump);
}

void jpeg_failure::warn(j_common_ptr decoder, int level)
{
    auto* const self = reinterpret_cast<manager*>(decoder->err);
    if (level >= 0 || self->damaged) return;
    // Missing data; other warnings are about bytes that decoders pass over by custom.
    constexpr int missing[] = {JWRN_JPEG_EOF, JWRN_HIT_MARKER, JWRN_MUST_RESYNC};
    if (std::find(std::begin(missing), std::end(missing), self->base.msg_code) == std::end(missing)) return;
    self->base.format_message(decoder, self->text);
    self->code = self->base.msg_code;
    self->damaged = true;
}

failure jpeg_failure::made(const std::string& path) const
{
    // What a valid file may hold but this decoder cannot do.
    constexpr int beyond[] = {JERR_BAD_PRECISION, JERR_ARITH_NOTIMPL, JERR_SOF_UNSUPPORTED, JERR_CONVERSION_NOTIMPL};
    const bool unsupported = std::find(std::begin(beyond), std::end(beyond), manager_.code) != std::end(beyond);
    return {unsupported ? exit_code::unsupported : exit_code::not_readable, path + ": " + manager_.text};
}

}  // namespace iocache::tools
