// Videos, raw frames and the image files of other cameras, down to the program's tables.
#include <sys/wait.h>
#include <tiffio.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include <jpeglib.h>  // needs what is above

#include "follow/annotation/tracks.h"
#include "follow/error.h"
#include "follow/footage/footage.h"
#include "follow/footage/picture.h"
#include "follow/footage/png_files.h"
#include "follow/footage/variety.h"
#include "follow/footage/video.h"
#include "scene/scene.h"
#include "support.h"
#include "videos.h"

namespace {

namespace fs = std::filesystem;
using namespace remora;

constexpr int kFrames = 24;

const tools::SceneFrame& sceneFrame(int number) {
  static const std::vector<tools::SceneFrame> frames = [] {
    const tools::Scene scene(3);
    std::vector<tools::SceneFrame> rendered;
    for (int i = 0; i < kFrames; ++i) rendered.push_back(scene.render(4 * i));
    return rendered;
  }();
  return frames[static_cast<std::size_t>(number)];
}

// BASE of the scene's frames as PNG files, and truth.txt beside them.
const std::string& scene() {
  static const std::string base = [] {
    std::string made = pathTo("scene/s");
    fs::create_directory(pathTo("scene"));
    std::ofstream truth(pathTo("scene/truth.txt"));
    truth << kFrames << '\n';
    for (int i = 0; i < kFrames; ++i) {
      savePng(sceneFrame(i).view(), frameFile(made, i));
      truth << sceneFrame(i).points.size() << '\n';
      for (const Point& point : sceneFrame(i).points) truth << point.x << ' ' << point.y << '\n';
    }
    return made;
  }();
  return base;
}

// A video without loss of the scene, with odd names and frame rate.
const std::string& sceneVideo() {
  static const std::string file = ffmpeg(
      "-framerate 30000/1001 -i " + scene() + ".%05d.png -c:v ffv1 -pix_fmt gray", "a %d:b.mkv");
  return file;
}

struct Reading {
  std::vector<FootageFrame> frames;
  std::optional<long> expected;
};

Reading read(const VideoPart& part) {
  VideoReader reader(part);
  Reading reading;
  reading.expected = reader.expected();
  for (FootageFrame frame; reader.next(frame);) reading.frames.push_back(frame);
  return reading;
}

TEST(Videos, framesComeInOrderWithTheirTimesAndPixels) {
  SKIP_WITHOUT_FFMPEG();
  const Reading all = read({sceneVideo(), 0, {}});
  ASSERT_EQ(all.frames.size(), static_cast<std::size_t>(kFrames));
  EXPECT_EQ(all.expected, kFrames);
  for (int i = 0; i < kFrames; ++i) {
    const FootageFrame& frame = all.frames[static_cast<std::size_t>(i)];
    EXPECT_EQ(frame.number, i);
    EXPECT_NEAR(frame.time, i * 1001.0 / 30000.0, 0.0011);  // mkv counts milliseconds
    EXPECT_EQ(toGrey(frame.picture.view()).pixels, sceneFrame(i).grey) << i;
  }
  const Reading part = read({sceneVideo(), 5, 3});
  ASSERT_EQ(part.frames.size(), 3U);
  EXPECT_EQ(part.frames[0].number, 5);
  EXPECT_EQ(part.frames[2].picture.pixels, all.frames[7].picture.pixels);
  expectNamed(refusal([] { read({sceneVideo(), kFrames - 1, 2}); }), {"has 24 frames"});
  std::vector<int> numbers;
  readVideoFrames(sceneVideo(), {3, 11},
                  [&numbers](const FootageFrame& frame) { numbers.push_back(frame.number); });
  EXPECT_EQ(numbers, (std::vector<int>{3, 11}));
}

TEST(Videos, areShownAsTheyAreMeantToBe) {
  SKIP_WITHOUT_FFMPEG();
  // 31 x 17 pixels, the left third red; with B-frames, a variable rate and BT.709 colours.
  Picture still{31, 17, 3, std::vector<unsigned char>(31 * 17 * 3, 64)};
  for (int y = 0; y < 17; ++y) {
    for (int x = 0; x < 10; ++x) {
      const unsigned char red[] = {255, 0, 0};
      std::copy(red, red + 3, still.pixels.begin() + (y * 31 + x) * 3);
    }
  }
  savePng(still.view(), pathTo("still.png"));
  const std::string film =
      "-loop 1 -framerate 25 -t 1 -i " + pathTo("still.png") +
      " -vf scale=out_color_matrix=bt709,format=yuv444p,select='lt(mod(n\\,5)\\,2)' "
      "-colorspace bt709 -fps_mode vfr -c:v libx264 -crf 0 -bf 3";
  const Reading upright = read({ffmpeg(film, "film.mp4"), 0, {}});
  ASSERT_EQ(upright.frames.size(), 10U);
  const double times[] = {0.0, 0.04, 0.2, 0.24, 0.4};
  for (std::size_t i = 0; i < 5; ++i) EXPECT_NEAR(upright.frames[i].time, times[i], 1e-6);
  const Picture& picture = upright.frames[3].picture;
  EXPECT_EQ(picture.width, 31);
  const GreyImage grey = toGrey(picture.view());
  EXPECT_NEAR(grey.pixels[31 * 8 + 4], 76, 2);  // 0.299 * 255, not the 54 of BT.709
  EXPECT_NEAR(grey.pixels[31 * 8 + 20], 64, 1);

  const Reading turned =
      read({ffmpeg("-i " + pathTo("film.mp4") + " -c copy -metadata:s:v:0 rotate=90", "turned.mp4"),
            0,
            {}});
  const Picture& on_end = turned.frames.at(0).picture;
  ASSERT_EQ(on_end.width, 17);
  ASSERT_EQ(on_end.height, 31);
  EXPECT_NEAR(toGrey(on_end.view()).pixels[17 * 26 + 8], 76, 2);
}

TEST(Videos, sayInOneLineWhatIsWrongWithThem) {
  SKIP_WITHOUT_FFMPEG();
  const std::string film = ffmpeg(
      "-framerate 30 -i " + scene() + ".%05d.png -c:v libx264 -movflags +faststart", "whole.mp4");
  const std::string bytes = contentsOf(film);
  const std::string cut = file("cut.mp4", bytes.substr(0, bytes.size() * 2 / 3));
  VideoReader reader({cut, 0, {}});
  int frames = 0;
  const std::string why = refusal([&] {
    for (FootageFrame frame; reader.next(frame);) ++frames;
  });
  EXPECT_GT(frames, 2);
  expectNamed(why, {cut, "of 24 frames"});
  expectNamed(refusal([&] {
                read({file("short.mp4", bytes.substr(0, 600)), 0, {}});
              }),
              {"short.mp4"});
  expectNamed(refusal([&] {
                read({file("words.film", "no film\n"), 0, {}});
              }),
              {"cannot read", "words.film", "Invalid data"});
  expectNamed(refusal([&] {
                read({ffmpeg("-f lavfi -i sine=d=0.1", "sound.wav"), 0, {}});
              }),
              {"sound.wav", "no moving picture"});
  expectNamed(refusal([&] { read({pathTo("nothing.mp4"), 0, {}}); }), {"nothing.mp4", "No such"});
  const int next = nextDescriptor();
  { const VideoReader broken_off({film, 0, {}}); }
  EXPECT_EQ(nextDescriptor(), next);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);  // no child is left
}

TEST(Videos, needAProgramThatIsNamedWhereItIsMissing) {
  const std::string path = std::getenv("PATH");
  setenv("PATH", pathTo("").c_str(), 1);
  const std::string why = refusal([&] { read({file("any.mp4", "x"), 0, {}}); });
  setenv("PATH", path.c_str(), 1);
  expectNamed(why, {"any.mp4", "ffmpeg", "apt-get install"});
}

std::string withoutTimes(const std::string& table) {
  std::istringstream in(table);
  std::string text;
  for (std::string line; std::getline(in, line);) text += line.substr(0, line.rfind(',')) + '\n';
  return text;
}

TEST(Program, videosRawFramesAndPicturesGiveTheSameTracks) {
  SKIP_WITHOUT_FFMPEG();
  const std::string truth = pathTo("scene/truth.txt");
  const std::string video = "'" + sceneVideo() + "'";
  run("frames " + video + " --at 0,8,16,22 -o " + pathTo("shot"));
  EXPECT_EQ(contentsOf(pathTo("shot.csv")),
            "frame,time\n0,0.000000\n8,0.267000\n16,0.534000\n22,0.734000\n");
  EXPECT_EQ(toGrey(loadPicture(pathTo("shot.00016.png")).view()).pixels, sceneFrame(16).grey);

  const std::string options = " --frames 0,8,16,22 --predictors 12 --generations 1 -o ";
  run("train --sequence " + video + ":0:" + truth + options + pathTo("of-video"));
  run("train --sequence " + pathTo("shot") + ":0:" + truth + options + pathTo("of-pictures"));
  EXPECT_EQ(contentsOf(pathTo("of-video/stage0.flp")),
            contentsOf(pathTo("of-pictures/stage0.flp")));

  const std::string tracking = "track " + pathTo("of-video") + " ";
  const std::string table = run(tracking + video + " --shapes " + pathTo("shapes.txt"));
  EXPECT_EQ(countOf("\n", contentsOf(pathTo("shapes.txt"))),
            1 + kFrames * (1 + static_cast<int>(sceneFrame(0).points.size())));
  const std::string of_pictures = run(tracking + "--sequence " + scene() + ":0");
  EXPECT_EQ(withoutTimes(table), of_pictures);
  const Tracks tracks = readTracks(file("table.csv", table), 0);
  EXPECT_EQ(formatTable(tracks), table);
  EXPECT_NEAR(tracks.times.at(20), 20 * 1001.0 / 30000.0, 0.0011);

  std::ofstream raw(pathTo("raw"), std::ios::binary);
  const tools::SceneFrame& first = sceneFrame(0);
  for (int i = 0; i < kFrames; ++i) {
    for (const unsigned char grey : sceneFrame(i).grey) {
      for (int c = 0; c < 3; ++c) raw.put(static_cast<char>(grey));
    }
  }
  raw << "rest";
  raw.close();
  const std::string from_input = tracking + "- --format rgb24 --size " +
                                 std::to_string(first.width) + "x" + std::to_string(first.height) +
                                 " <" + pathTo("raw");
  EXPECT_EQ(run(from_input, 1), of_pictures);
  EXPECT_NE(contentsOf(pathTo("err.txt")).find("in the middle of frame 24"), std::string::npos);

  const std::string known = " --both-ways --smooth --corrections " + truth;
  EXPECT_EQ(withoutTimes(run(tracking + video + known)),
            run(tracking + "--sequence " + scene() + ":0" + known));
  EXPECT_EQ(run(tracking + "- --size 4x4 </dev/null", 1), "");
  run(tracking + "- ", 2);
  run(tracking + video + ' ' + video, 2);
}

TEST(Footage, chosenFramesDiffer) {
  // Three pictures, the second one in three frames alone.
  const auto picture = [](int frame) {
    GreyImage grey{48, 48, std::vector<unsigned char>(48 * 48, 40)};
    const int kind = frame < 5000 ? 0 : frame < 5003 ? 1 : 2;
    for (int i = 0; i < 800; ++i) grey.pixels[static_cast<std::size_t>(700 * kind + i)] = 200;
    return grey;
  };
  VariedFrames varied(3);
  for (int frame = 4000; frame < 5900; ++frame) varied.look(frame, picture(frame).view());
  const std::vector<int> chosen = varied.choose();
  ASSERT_EQ(chosen.size(), 3U);
  EXPECT_TRUE(std::is_sorted(chosen.begin(), chosen.end()));
  VariedFrames still(4);
  for (int frame = 0; frame < 9; ++frame) still.look(frame, picture(0).view());
  EXPECT_EQ(still.choose().size(), 4U);
  VariedFrames few(10);
  for (int frame = 0; frame < 3; ++frame) few.look(frame, picture(0).view());
  EXPECT_EQ(few.choose(), (std::vector<int>{0, 1, 2}));
}

// 20 x 12 pixels, every one another colour; smooth, so that compression keeps it.
Picture colours() {
  Picture picture{20, 12, 3, {}};
  for (int y = 0; y < 12; ++y) {
    for (int x = 0; x < 20; ++x) {
      for (const int value : {10 * x, 20 * y, 128}) {
        picture.pixels.push_back(static_cast<unsigned char>(value));
      }
    }
  }
  return picture;
}

void saveJpeg(const Picture& picture, int orientation, const std::string& name) {
  jpeg_compress_struct jpeg{};
  jpeg_error_mgr errors{};
  jpeg.err = jpeg_std_error(&errors);
  jpeg_create_compress(&jpeg);
  std::FILE* const out = std::fopen(pathTo(name).c_str(), "wb");
  jpeg_stdio_dest(&jpeg, out);
  jpeg.image_width = static_cast<JDIMENSION>(picture.width);
  jpeg.image_height = static_cast<JDIMENSION>(picture.height);
  jpeg.input_components = 3;
  jpeg.in_color_space = JCS_RGB;
  jpeg_set_defaults(&jpeg);
  jpeg_set_quality(&jpeg, 100, TRUE);
  jpeg.comp_info[0].h_samp_factor = 1;
  jpeg.comp_info[0].v_samp_factor = 1;
  jpeg_start_compress(&jpeg, TRUE);
  const std::string exif = std::string("Exif\0\0MM\0*\0\0\0\10\0\1\1\22\0\3\0\0\0\1\0", 25) +
                           static_cast<char>(orientation) + std::string(2, '\0');
  jpeg_write_marker(&jpeg, JPEG_APP0 + 1, reinterpret_cast<const JOCTET*>(exif.data()),
                    static_cast<unsigned>(exif.size()));
  for (int y = 0; y < picture.height; ++y) {
    auto* row = const_cast<JSAMPROW>(picture.pixels.data() + y * picture.width * 3);
    jpeg_write_scanlines(&jpeg, &row, 1);
  }
  jpeg_finish_compress(&jpeg);
  jpeg_destroy_compress(&jpeg);
  std::fclose(out);
}

void saveTiff(const Picture& picture, int orientation, int bits, const std::string& name) {
  TIFF* const tiff = TIFFOpen(pathTo(name).c_str(), "w");
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, picture.width);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, picture.height);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, bits);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_ORIENTATION, orientation);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
  for (int y = 0; y < picture.height; ++y) {
    std::vector<unsigned char> row;
    for (int i = 0; i < picture.width * 3; ++i) {
      const unsigned char value =
          picture.pixels[static_cast<std::size_t>(y * picture.width * 3 + i)];
      for (int byte = 0; byte < bits / 8; ++byte) row.push_back(value);
    }
    TIFFWriteScanline(tiff, row.data(), static_cast<std::uint32_t>(y), 0);
  }
  TIFFClose(tiff);
}

// Where the pixel of a viewer is in a picture that is stored with an orientation.
std::pair<int, int> storedAt(int orientation, int x, int y, int width, int height) {
  switch (orientation) {
    case 2:
      return {width - 1 - x, y};
    case 3:
      return {width - 1 - x, height - 1 - y};
    case 4:
      return {x, height - 1 - y};
    case 5:
      return {y, x};
    case 6:
      return {y, height - 1 - x};
    case 7:
      return {width - 1 - y, height - 1 - x};
    case 8:
      return {width - 1 - y, x};
    default:
      return {x, y};
  }
}

TEST(Pictures, ofCamerasAreReadUpright) {
  const Picture stored = colours();
  for (int orientation = 1; orientation <= 8; ++orientation) {
    saveJpeg(stored, orientation, "photo.JPG");
    saveTiff(stored, orientation, 8, "photo.tif");
    saveTiff(stored, orientation, 16, "deep.tiff");
    const std::pair<const char*, int> files[] = {
        {"photo.JPG", 6}, {"photo.tif", 0}, {"deep.tiff", 0}};
    for (const auto& [name, tolerance] : files) {
      const Picture seen = loadPicture(pathTo(name));
      ASSERT_EQ(seen.width, orientation < 5 ? stored.width : stored.height) << name;
      for (int y = 0; y < seen.height; ++y) {
        for (int x = 0; x < seen.width; ++x) {
          const auto [at_x, at_y] = storedAt(orientation, x, y, stored.width, stored.height);
          for (int c = 0; c < 3; ++c) {
            ASSERT_NEAR(
                seen.pixels[static_cast<std::size_t>((y * seen.width + x) * 3 + c)],
                stored.pixels[static_cast<std::size_t>((at_y * stored.width + at_x) * 3 + c)],
                tolerance)
                << name << ' ' << orientation << ' ' << x << ' ' << y;
          }
        }
      }
    }
  }
  for (const char* name : {"photo.JPG", "photo.tif"}) {
    const std::string bytes = contentsOf(pathTo(name));
    for (const double part : {0.0, 0.1, 0.5, 0.9}) {
      const auto size = static_cast<std::size_t>(part * static_cast<double>(bytes.size()));
      const std::string cut = file(std::string("cut-") + name, bytes.substr(0, size));
      expectNamed(refusal([&] { loadPicture(cut); }), {cut, "cannot be read"});
    }
  }
  saveJpeg(stored, 1, "photo.jpg");
  std::string huge = contentsOf(pathTo("photo.jpg"));
  const std::size_t size = huge.find("\xff\xc0") + 5;  // height, then width
  for (std::size_t i = 0; i < 4; ++i) huge[size + i] = '\xfe';
  largest_block = 0;
  expectNamed(refusal([&] { loadPicture(file("huge.jpg", huge)); }), {"too short for its size"});
  EXPECT_LT(largest_block, 1U << 20);
}

}  // namespace
