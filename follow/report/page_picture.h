// Pictures and data inside of pages.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "follow/footage/picture.h"

namespace remora {

// A picture as a data URI: PNG, or JPEG of high quality where that takes less than half as much.
std::string dataUri(const Picture& picture);

// A value as the content of a script element: nothing in it can end the element. Throws Error for
// text that is not UTF-8.
std::string scriptJson(const nlohmann::ordered_json& value);

// A page of pages.h with its data.
std::string fillPage(const char* page, const std::string& data);

}  // namespace remora
