// The file names of the frames of one image sequence, one after another: base.nnnnn.png.
#pragma once

#include "remora_export.h"

class REMORA_EXPORT ImgFnames {
 public:
  // -- You may read --

  char* m_base_fname;  // owned copy of the base name; null when names come from all_fnames
  int m_cur_frame;     // number of the frame whose name comes next
  int m_orig_start;    // number of the first frame

  // -- You may set: an explicit list of names, used when there is no base name. It stays yours --

  char** all_fnames;
  int num_fnames;

  // Frame n is base_fname, a dot, n with at least five characters ("00007", "-0003"), ".png". With
  // a null base name, frame n is entry n of the list that the caller sets.
  ImgFnames(const char* base_fname, int start_frame);
  ~ImgFnames();
  ImgFnames(const ImgFnames&) = delete;
  ImgFnames& operator=(const ImgFnames&) = delete;

  // The name of the current frame in a new array of at least 200 chars, filled up with zeros, that
  // the caller releases with delete[]. A frame that the list does not hold is reported in one line
  // and has an empty name.
  char* GetFrameName();

  // The same, and goes on to the next frame.
  char* GetNextFname();

  // Goes back to the first frame.
  void ResetToStart();
  // Goes to a frame.
  void ResetFrameNum(int frame);
  // One frame on or back; stays at the largest or smallest number.
  void UpOneFrame();
  void BackOneFrame();
};
