#include "scene/save.h"

#include "common/png_files.h"

namespace remora::tools {

void savePng(const SceneFrame& frame, const std::string& file) {
  const CImg<unsigned char> picture(frame.grey.data(), static_cast<unsigned>(frame.width),
                                    static_cast<unsigned>(frame.height), 1, 1, true);
  savePng(picture, file);
}

}  // namespace remora::tools
