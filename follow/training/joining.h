// Bunch files become larger ones, and flat LP files.
#pragma once

#include <string>
#include <vector>

#include "follow/base/files.h"
#include "follow/export.h"

class ShapeLPTracker;

namespace remora {

class EngineMessages;

// Fails with what the engine says while it writes.
REMORA_FOLLOW_EXPORT void saveTracker(ShapeLPTracker& tracker, const NewFile& file,
                                      EngineMessages& messages);

// Writes bunch files of one point each as one.
void joinBunches(const std::vector<std::string>& files, const NewFile& joined);

// Writes an x-trained and a y-trained bunch file as a flat LP file.
void writeFlat(const std::string& x_file, const std::string& y_file, const NewFile& flat);

// The same for files of the user's. Throws Error where their names, or how far their predictors
// reach, say that they do not belong together.
REMORA_FOLLOW_EXPORT void exportFlat(const std::string& x_file, const std::string& y_file,
                                     const std::string& flat);

}  // namespace remora
