// The checks, one after the other.
#include "tools/verify/checks.h"

namespace iocache::tools {

std::vector<finding> verify(const canvas_file& file, depth how)
{
    file.check_version();
    std::vector<finding> findings;
    const sound_header sound = make_sound(file);
    check_header(file, sound, findings);
    if (sound.state != header_state::usable) return findings;
    const slot_table table = read_slot_table(file, file_map(sound.header));
    check_table(file, sound, table, findings);
    if (how == depth::full) check_pixels(file, sound, table, findings);
    return findings;
}

}  // namespace iocache::tools
