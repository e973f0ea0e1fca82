#include "ImgFnames.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <string>

#include "internal/messages.h"

namespace {

constexpr std::size_t kSmallestName = 200;  // chars, the terminating zero included

char* newName(const std::string& name) {
  char* const copy = new char[std::max(kSmallestName, name.size() + 1)]();
  std::copy(name.begin(), name.end(), copy);
  return copy;
}

std::string numbered(const char* base, int frame) {
  char number[32];
  std::snprintf(number, sizeof number, ".%05d.png", frame);
  return std::string(base) + number;
}

}  // namespace

ImgFnames::ImgFnames(const char* base_fname, int start_frame)
    : m_base_fname(nullptr),
      m_cur_frame(start_frame),
      m_orig_start(start_frame),
      all_fnames(nullptr),
      num_fnames(0) {
  if (base_fname == nullptr) return;
  const std::string base = base_fname;
  m_base_fname = new char[base.size() + 1]();
  std::copy(base.begin(), base.end(), m_base_fname);
}

ImgFnames::~ImgFnames() { delete[] m_base_fname; }

char* ImgFnames::GetFrameName() {
  if (m_base_fname != nullptr) return newName(numbered(m_base_fname, m_cur_frame));
  const int listed = all_fnames == nullptr ? 0 : num_fnames;
  const bool exists = m_cur_frame >= 0 && m_cur_frame < listed;
  if (exists && all_fnames[m_cur_frame] != nullptr) return newName(all_fnames[m_cur_frame]);
  remora::internal::say(remora::internal::text::kNoSuchName, m_cur_frame, listed);
  return newName("");
}

char* ImgFnames::GetNextFname() {
  char* const name = GetFrameName();
  UpOneFrame();
  return name;
}

void ImgFnames::ResetToStart() { m_cur_frame = m_orig_start; }

void ImgFnames::ResetFrameNum(int frame) { m_cur_frame = frame; }

void ImgFnames::UpOneFrame() {
  if (m_cur_frame < INT_MAX) ++m_cur_frame;
}

void ImgFnames::BackOneFrame() {
  if (m_cur_frame > INT_MIN) --m_cur_frame;
}
