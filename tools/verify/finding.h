// What was found wrong with a canvas file, for people and for scripts.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace iocache::tools {

enum class weight {
    notice,  // worth knowing; nothing to mend
    damage,  // what `iocache repair` would mend, or cannot
};

struct finding {
    weight severity = weight::damage;
    std::string id;          // stable, for scripts
    std::string what;        // one sentence: what is there
    std::string meaning;     // one or two sentences: what that means for whoever owns the file
    std::int64_t count = 1;  // of tiles, slots, pixels or bytes, as the sentence says
};

[[nodiscard]] inline bool has_damage(const std::vector<finding>& findings)
{
    for (const finding& one : findings) {
        if (one.severity == weight::damage) return true;
    }
    return false;
}

}  // namespace iocache::tools
