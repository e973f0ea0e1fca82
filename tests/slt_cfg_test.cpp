#include "shape_lp_track.h"
#include "support.h"

namespace {

TEST(Configuration, readsSequencesFromLinesThatEndInCrLf) {
  texture(50, 40).save_png(pathTo("f.00012.png").c_str());
  const std::string base = pathTo("f"), shapes = file("shapes", "2 1 10 20 1 30 40");
  const std::string text =
      "2\r\n" + base + "\r\n12abc\r\n" + shapes + "\r\nx\r\n\r\n" + shapes + "\r\n";
  const float scales[] = {0.5F, 0.7F, 0.29F, 0.004F, 1.5F};
  const int sizes[][2] = {{25, 20}, {34, 27}, {14, 11}, {0, 0}, {75, 60}};
  for (int i = 0; i < 5; ++i) {
    const SLT_Cfg cfg(file("cfg", text).c_str(), scales[i]);
    EXPECT_EQ((Ints{cfg.img_w, cfg.img_h}), Ints(sizes[i], sizes[i] + 2)) << scales[i];
    EXPECT_EQ((Ints{cfg.num_seqs, cfg.all_num_shapes[1], cfg.all_num_fps[1]}), (Ints{2, 2, 1}));
    EXPECT_EQ(cfg.img_fnames[0]->m_cur_frame + cfg.img_fnames[1]->m_cur_frame, 13);
    EXPECT_EQ(cfg.all_fp_pos[1][1][0][1], 40 * scales[i]);
  }
}

TEST(Configuration, dropsTheLastCharacterOfANameAndReportsLinesThatCannotBeUsed) {
  texture(50, 40).save_png(pathTo("f.00012.png").c_str());
  const std::string start = "1\n" + pathTo("fx") + "\n1", end = '\n' + file("s", "1 1 1 2") + 'x';
  EXPECT_EQ(SLT_Cfg(file("cfg", start + '2' + end).c_str(), 1.0F).img_w, 50);
  EXPECT_THROW(SLT_Cfg(file("cfg", start + '3' + end).c_str(), 1.0F), CImgIOException);
  EXPECT_EXIT(SLT_Cfg(file("cfg", "1\nax\n1\nbx\n").c_str(), 1.0F), testing::ExitedWithCode(1), "");
  const std::pair<std::string, int> faults[] = {
      {"", 1}, {"-2\r\n", 1}, {"1\n", 2}, {"1\na\r\n1\n\n", 4}, {"1\n" + std::string(501, 'a'), 2}};
  for (const auto& [text, line] : faults) {
    const std::string name = file("cfg", text);
    EXPECT_TRUE(isOneLine(said([&] { EXPECT_EQ(SLT_Cfg(name.c_str(), 1.0F).num_seqs, 0); }),
                          "configuration file " + name + ", line " + std::to_string(line) + ": "));
  }
  EXPECT_EQ(said([] { EXPECT_EQ(SLT_Cfg("none/x", 1.0F).img_w, 0); }),
            "Cannot open shape lp tracker configuration file\n");
}

}  // namespace
