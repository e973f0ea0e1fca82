#include "ImgFnames.h"

#include "support.h"

namespace {

std::string taken(char* name) { return std::unique_ptr<char[]>(name).get(); }

TEST(ImgFnames, numberFramesOrFollowTheHostsList) {
  ImgFnames names("seq/shot", 95);
  EXPECT_EQ(taken(names.GetNextFname()), "seq/shot.00095.png");
  EXPECT_EQ(taken(names.GetNextFname()), "seq/shot.00096.png");
  names.ResetToStart();
  names.BackOneFrame();
  EXPECT_EQ(taken(names.GetFrameName()), "seq/shot.00094.png");
  names.ResetFrameNum(-4);
  names.UpOneFrame();
  EXPECT_EQ(taken(names.GetFrameName()), "seq/shot.-0003.png");
  for (const int last : {INT_MIN, INT_MAX}) {
    names.ResetFrameNum(last);
    last == INT_MAX ? names.UpOneFrame() : names.BackOneFrame();
    EXPECT_EQ(names.m_cur_frame, last);
  }
  std::string long_name(500, 'b');
  EXPECT_EQ(taken(ImgFnames(long_name.c_str(), 123456).GetFrameName()), long_name + ".123456.png");
  ImgFnames listed(nullptr, 0);
  char* list[] = {long_name.data()};
  listed.all_fnames = list;
  listed.num_fnames = 1;
  EXPECT_EQ(taken(listed.GetNextFname()), long_name);
  EXPECT_EQ(said([&] { EXPECT_EQ(taken(listed.GetNextFname()), ""); }),
            "there is no file name 1: the list has 1\n");
}

}  // namespace
