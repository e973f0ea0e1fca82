#include <memory>
#include <utility>
#include <vector>

#include "internal/arrays.h"
#include "internal/messages.h"
#include "internal/text_io.h"
#include "shape_lp_track.h"

using remora::internal::say;
using remora::internal::shown;
using remora::internal::Stream;
using remora::internal::TextWriter;
namespace text = remora::internal::text;

SelLPShapeTracker::SelLPShapeTracker(const char* x_fname, const char* y_fname) {
  auto x = std::make_unique<ShapeLPTracker>(x_fname, nullptr);
  auto y = std::make_unique<ShapeLPTracker>(y_fname, nullptr);
  std::size_t count = 0;
  if (x->num_fps == y->num_fps) {
    count = static_cast<std::size_t>(x->num_fps);
  } else {
    say(text::kPointsDiffer, shown(x_fname), x->num_fps, shown(y_fname), y->num_fps);
  }
  auto pairs = std::make_unique<std::unique_ptr<float[]>[]>(count);
  for (std::size_t i = 0; i < count; ++i) {
    const double* const position = x->ret_fps_pos[i];
    pairs[i].reset(new float[2]{static_cast<float>(position[0]), static_cast<float>(position[1])});
  }
  auto positions = std::make_unique<float*[]>(count);
  for (std::size_t i = 0; i < count; ++i) positions[i] = pairs[i].release();
  num_fps = static_cast<int>(count);
  fps_pos = positions.release();
  x_tracker = x.release();
  y_tracker = y.release();
}

SelLPShapeTracker::~SelLPShapeTracker() {
  for (int i = 0; i < num_fps; ++i) delete[] fps_pos[i];
  remora::internal::release(fps_pos);
  delete x_tracker;
  delete y_tracker;
}

bool SelLPShapeTracker::HasPoint(int fp_ind) const {
  if (fp_ind >= 0 && fp_ind < num_fps) return true;
  say(text::kNoSuchPoint, fp_ind, num_fps);
  return false;
}

void SelLPShapeTracker::SetPos(int fp_ind, float x, float y) {
  if (!HasPoint(fp_ind)) return;
  fps_pos[fp_ind][0] = x;
  fps_pos[fp_ind][1] = y;
  x_tracker->fp_lp_bunch[fp_ind]->SetPos(x, y);
  y_tracker->fp_lp_bunch[fp_ind]->SetPos(x, y);
}

void SelLPShapeTracker::OffsetPos(int fp_ind, float x, float y) {
  if (!HasPoint(fp_ind)) return;
  SetPos(fp_ind, fps_pos[fp_ind][0] + x, fps_pos[fp_ind][1] + y);
}

void SelLPShapeTracker::SetFPPosWithShapeSeq(const char* fname, float scale, int frame_num) {
  x_tracker->SetFPPosWithShapeSeq(fname, scale, frame_num);
  y_tracker->SetFPPosWithShapeSeq(fname, scale, frame_num);
  for (int i = 0; i < num_fps; ++i) {
    fps_pos[i][0] = static_cast<float>(x_tracker->ret_fps_pos[i][0]);
    fps_pos[i][1] = static_cast<float>(y_tracker->ret_fps_pos[i][1]);
  }
}

void SelLPShapeTracker::SaveFlat(const char* fname) {
  Stream file = remora::internal::openToWrite(fname);
  if (!file) {
    say(text::kFlatUnwritable, shown(fname));
    return;
  }
  constexpr int kX = 0;
  constexpr int kY = 1;
  TextWriter(file.get()).integer(num_fps).text("\n");
  for (int i = 0; i < num_fps; ++i) {
    x_tracker->SaveFlatHeader(file.get(), i);
    x_tracker->SaveFlat(file.get(), i, kX);
    y_tracker->SaveFlatHeader(file.get(), i);
    y_tracker->SaveFlat(file.get(), i, kY);
  }
  remora::internal::closeWritten(std::move(file), fname);
}
