// Files of other programs, read and written.
#include "follow/annotation/formats/formats.h"

#include "follow/base/files.h"
#include "follow/error.h"
#include "follow/footage/picture.h"
#include "follow/footage/png_files.h"
#include "support.h"

namespace {

using namespace remora;
using Files = std::vector<std::string>;

std::string refusal(const std::function<void()>& action) {
  try {
    action();
  } catch (const Error& failure) {
    return failure.what();
  }
  return "";
}

// The table that files become.
std::string imported(const Files& files, std::optional<FileFormat> format = {}) {
  return formatAnnotations(importAnnotations(files, format));
}
// With what other programs have guessed, however unlikely.
std::string importedWhole(const std::string& name, const std::string& text) {
  return formatAnnotations(importAnnotations({file(name, text)}, {}, 0, 0.0));
}
std::string importedText(const std::string& name, const std::string& text) {
  return imported({file(name, text)});
}

const std::string kPts = "version: 1\nn_points:  2\n{\n1 1\n120.5 88.25\n}\n";
const std::string kImglab =
    "<?xml version='1.0' encoding='UTF-8'?>\n<dataset>\n<name>x</name>\n<images>\n"
    "  <image file='a/f_007.jpg' width='640' height='480'>\n"
    "    <box top='1' left='2' width='30' height='40'>\n"
    "      <part name='00' x='10' y='20'/>\n      <part name='01' x='11' y='21'/>\n    </box>\n"
    "    <box top='0' left='0' width='3' height='4' ignore='1'/>\n"
    "  </image>\n"
    "  <image file='a/f_008.jpg'><box><part name='01' x='5' y='6'/></box></image>\n"
    "  <image file='a/f_009.jpg'/>\n</images>\n</dataset>\n";
const std::string kCvatImages =
    "<annotations><version>1.1</version>\n"
    "<image id=\"0\" name=\"f3.png\" width=\"100\" height=\"80\">\n"
    "<points label=\"nose\" occluded=\"1\" points=\"10.50,20.00\" z_order=\"0\"></points>\n"
    "<points label=\"fin\" points=\"1.5,2.5;3.5,4.5\"/></image>\n"
    "<image id=\"1\" name=\"f4.png\" width=\"100\" height=\"80\"><skeleton label=\"fish\">\n"
    "<points label=\"nose\" outside=\"1\" points=\"1,1\"/>\n"
    "</skeleton></image>\n"
    "<image id=\"2\" name=\"f5.png\" width=\"100\" height=\"80\"></image></annotations>\n";
const std::string kCvatTracks =
    "<annotations><meta><task><original_size><width>64</width><height>48</height>\n"
    "</original_size><source>swim.mp4</source></task></meta>\n"
    "<track id=\"0\" label=\"nose\">\n"
    "<points frame=\"4\" outside=\"0\" occluded=\"0\" keyframe=\"1\" points=\"10.5,20.5\"/>\n"
    "<points frame=\"5\" outside=\"1\" occluded=\"0\" keyframe=\"1\" "
    "points=\"10.5,20.5\"/></track>\n"
    "<track id=\"1\" label=\"fish\"><skeleton frame=\"5\" keyframe=\"1\">\n"
    "<points label=\"tail\" outside=\"0\" points=\"30.25,40\"/></skeleton></track></annotations>\n";
const std::string kCoco =
    R"({"images": [{"id": 7, "file_name": "f12.png", "width": 64, "height": 48},
 {"id": 8, "file_name": "f13.png", "width": 64, "height": 48}],
"categories": [{"id": 1, "name": "fish", "keypoints": ["nose", "tail"]}],
"annotations": [{"id": 1, "image_id": 7, "category_id": 1, "keypoints": [10.5, 20, 2, 0, 0, 0]},
 {"id": 2, "image_id": 8, "category_id": 1, "bbox": [1, 2, 3, 4]}]})";
const std::string kLabelme =
    R"({"version": "5.2.1", "flags": {}, "shapes": [
{"label": "nose", "points": [[10.5, 20.25]], "group_id": null, "shape_type": "point"},
{"label": "body", "points": [[1, 2], [3, 4]], "shape_type": "rectangle"}],
"imagePath": "f_0042.jpg", "imageData": null, "imageHeight": 48, "imageWidth": 64})";
const std::string kDlcLabelled =
    "scorer,,,me,me,me,me\nbodyparts,,,nose,nose,tail,tail\ncoords,,,x,y,x,y\n"
    " labeled-data,swim,img0010.png,1.5,2.5,,\nlabeled-data,swim,img0002.png,3,4,5,6\n";
const std::string kDlcVideo =
    "scorer,net,net,net\nindividuals,one,one,one\nbodyparts,nose,nose,nose\n"
    "coords,x,y,likelihood\n0,1.25,2.5,0.99\n1,3,4,0.01\n";
const std::string kSleap =
    "track,frame_idx,instance.score,ear.left.x,ear.left.y,ear.left.score,tail.x,tail.y,tail.score\n"
    "track_0,3,0.9,1.5,2.5,0.8,,,\ntrack_0,5,0.9,3,4,0.8,5,6,0.7\n";

TEST(Formats, areReadByWhatTheyHold) {
  const std::string header = "frame,point,name,x,y\n";
  const std::string with_file = "file," + header;
  const std::pair<std::string, std::string> tables[] = {
      {kPts, header + "3,0,0,0.000000,0.000000\n3,1,1,119.500000,87.250000\n"},
      {kImglab, with_file + "a/f_007.jpg,7,0,00,10.000000,20.000000\n"
                            "a/f_007.jpg,7,1,01,11.000000,21.000000\n"
                            "a/f_008.jpg,8,0,00,,\na/f_008.jpg,8,1,01,5.000000,6.000000\n"},
      {kCvatImages, with_file + "f3.png,3,0,nose,10.000000,19.500000\n"
                                "f3.png,3,1,fin_0,1.000000,2.000000\n"
                                "f3.png,3,2,fin_1,3.000000,4.000000\n"
                                "f4.png,4,0,nose,,\nf4.png,4,1,fin_0,,\nf4.png,4,2,fin_1,,\n"},
      {kCvatTracks, with_file + "swim.mp4,4,0,nose,10.000000,20.000000\nswim.mp4,4,1,tail,,\n"
                                "swim.mp4,5,0,nose,,\nswim.mp4,5,1,tail,29.750000,39.500000\n"},
      {kCoco, with_file + "f12.png,12,0,nose,10.000000,19.500000\nf12.png,12,1,tail,,\n"},
      {kLabelme, with_file + "f_0042.jpg,42,0,nose,10.000000,19.750000\n"},
      {kDlcLabelled, with_file + "labeled-data/swim/img0002.png,2,0,nose,3.000000,4.000000\n"
                                 "labeled-data/swim/img0002.png,2,1,tail,5.000000,6.000000\n"
                                 "labeled-data/swim/img0010.png,10,0,nose,1.500000,2.500000\n"
                                 "labeled-data/swim/img0010.png,10,1,tail,,\n"},
      // An unlikely position is a guess.
      {kDlcVideo, header + "0,0,nose,1.250000,2.500000\n1,0,nose,,\n"},
      {kSleap, header + "3,0,ear.left,1.500000,2.500000\n3,1,tail,,\n"
                        "5,0,ear.left,3.000000,4.000000\n5,1,tail,5.000000,6.000000\n"},
      {"2\n1\n1 2\n1\n3 4\n", header + "0,0,0,1.000000,2.000000\n1,0,0,3.000000,4.000000\n"},
      {"frame,name,x,y\n2,nose,1,2\n", header + "2,0,nose,1.000000,2.000000\n"},
      // Of tracks, what was guessed is no annotation.
      {"frame,point,name,x,y,confidence,status\n1,0,a,1,2,0.9,tracked\n1,1,b,1,2,0.2,occluded\n",
       header + "1,0,a,1.000000,2.000000\n1,1,b,,\n"}};
  for (const auto& [text, table] : tables) {
    // The name does not matter but for its digits.
    EXPECT_EQ(importedText("any_3.dat", text), table);
    std::string marked = text;
    for (auto at = marked.find('\n'); at != marked.npos; at = marked.find('\n', at + 2)) {
      marked.insert(at, "\r");
    }
    if (text[0] == '2') continue;  // only numbers may be in it
    EXPECT_EQ(importedText("any_3.dat", kByteOrderMark + marked), table);
  }
}

// Where a point was lost for a while, its tracks follow each other.
TEST(Formats, tracksOfOneLabelMayFollowEachOther) {
  const auto track = [](const char* points) {
    return std::string("<track id=\"0\" label=\"nose\">") + points + "</track>\n";
  };
  const std::string ended = track(
      "<points frame=\"0\" outside=\"0\" points=\"1.5,2.5\"/>"
      "<points frame=\"1\" outside=\"1\" points=\"1.5,2.5\"/>");
  const std::string goes_on = track("<points frame=\"1\" outside=\"0\" points=\"4.5,5.5\"/>");
  const std::string table =
      "frame,point,name,x,y\n0,0,nose,1.000000,2.000000\n1,0,nose,4.000000,5.000000\n";
  for (const std::string& tracks : {ended + goes_on, goes_on + ended}) {
    EXPECT_EQ(importedText("a.xml", "<annotations>\n" + tracks + "</annotations>"), table);
  }
  const std::string name =
      file("twice.xml", "<annotations>\n" + goes_on + goes_on + "</annotations>");
  try {
    importAnnotations({name}, std::nullopt);
    ADD_FAILURE() << "two tracks show the point in one frame";
  } catch (const Error& error) {
    EXPECT_EQ(error.what(), name + ", line 3: point nose is there twice in this frame");
  }
}

// One pixel is bright, and every format has its own words for the middle of it.
TEST(Formats, agreeOnThePixelThatAPictureShows) {
  GreyImage drawn{24, 16, std::vector<unsigned char>(24 * 16, 10)};
  drawn.pixels[5 * 24 + 7] = 250;
  savePng(drawn.view(), pathTo("pixel_3.png"));
  const Picture picture = loadPicture(pathTo("pixel_3.png"));
  const auto brightest = std::max_element(picture.pixels.begin(), picture.pixels.end());
  const auto place = static_cast<int>(brightest - picture.pixels.begin());
  const Point middle{static_cast<double>(place % picture.width),
                     static_cast<double>(place / picture.width)};
  const std::string coco =
      R"({"images": [{"id": 1, "file_name": "pixel_3.png", "width": 24, "height": 16}],
"categories": [{"id": 1, "keypoints": ["p"]}],
"annotations": [{"image_id": 1, "category_id": 1, "keypoints": [7.5, 5.5, 2]}]})";
  const std::string labelme =
      R"({"shapes": [{"label": "p", "points": [[7.5, 5.5]], "shape_type": "point"}],
"imagePath": "pixel_3.png", "imageHeight": 16, "imageWidth": 24})";
  const std::string texts[] = {
      "version: 1\nn_points: 1\n{\n8 6\n}\n",
      "<dataset><images><image file='pixel_3.png'><box><part name='p' x='7' y='5'/></box></image>"
      "</images></dataset>",
      "<annotations><image name='pixel_3.png'><points label='p' points='7.5,5.5'/></image>"
      "</annotations>",
      coco,
      labelme,
      "scorer,me,me\nbodyparts,p,p\ncoords,x,y\npixel_3.png,7,5\n",
      "track,frame_idx,p.x,p.y\n,3,7,5\n",
      "frame,name,x,y\n3,p,7,5\n",
      "1\n1\n7 5\n"};
  for (const std::string& text : texts) {
    const Annotations read = importAnnotations({file("pixel_3.any", text)});
    ASSERT_EQ(read.frames.size(), 1U);
    EXPECT_EQ(read.frames[0].points[0].x, middle.x) << text;
    EXPECT_EQ(read.frames[0].points[0].y, middle.y) << text;
    for (const FileFormat format : writtenFormats()) {
      const Annotations back =
          importAnnotations({file("back", formatPositions(positionsOf(read), format))});
      EXPECT_EQ(back.frames[0].points[0].x, middle.x) << nameOf(format);
      EXPECT_EQ(back.frames[0].points[0].y, middle.y) << nameOf(format);
    }
  }
}

TEST(Formats, joinFilesAndFolders) {
  const std::string folder = pathTo("landmarks");
  makeFolder(folder);
  const auto pts = [](const std::string& x) {
    return "version:1\nn_points: 1\n{\n" + x + " 1\n}\n";
  };
  file("landmarks/f10.pts", pts("11"));
  file("landmarks/f9.pts", pts("10"));
  file("landmarks/f9.jpg", "");
  EXPECT_EQ(imported({folder}),
            "file,frame,point,name,x,y\n,10,0,0,10.000000,0.000000\n"
            "f9.jpg,9,0,0,9.000000,0.000000\n");
  // Frames without numbers count in the order of their files.
  const Files unnumbered = {file("b.pts", pts("2")), file("a1.pts", pts("3"))};
  EXPECT_EQ(formatAnnotations(importAnnotations(unnumbered, {}, 5)),
            "frame,point,name,x,y\n5,0,0,1.000000,0.000000\n6,0,0,2.000000,0.000000\n");
  file("landmarks/f.json", kLabelme);
  EXPECT_NE(refusal([&] { imported({folder}); }).find("both .pts and .json"), std::string::npos);
  // Points of the same name are the same in all files.
  std::string other = kLabelme;
  other.replace(other.find("nose"), 4, "tail");
  other.replace(other.find("0042"), 4, "0043");
  EXPECT_EQ(imported({file("1.json", kLabelme), file("2.json", other)}),
            "file,frame,point,name,x,y\n"
            "f_0042.jpg,42,0,nose,10.000000,19.750000\nf_0042.jpg,42,1,tail,,\n"
            "f_0043.jpg,43,0,nose,,\nf_0043.jpg,43,1,tail,10.000000,19.750000\n");
}

struct Fault {
  std::string text;
  std::string from;  // the first one in the text is replaced
  std::string to;
  std::string named;  // in the message
};

std::string damaged(const Fault& fault) {
  std::string text = fault.text;
  if (fault.from.empty()) return fault.to;
  const std::size_t at = text.find(fault.from);
  EXPECT_NE(at, text.npos) << fault.from;
  return text.replace(at, fault.from.size(), fault.to);
}

TEST(Formats, faultsAreToldInOneLineWithTheirPlace) {
  const std::string deep(100000, '[');
  const std::string nested = "{\"shapes\": " + deep + std::string(100000, ']') + "}";
  const Fault faults[] = {
      {kPts, ":  2", ": 2147483647", "line 6: \"}\" begins no line"},
      {kPts, ":  2", ": 1", "line 5: \"120.5\" where } is expected"},
      {kPts, ":  2", ": -1", "line 2: \"-1\" is no number"},
      {kPts, "1 1\n", "1 nan\n", "line 4: the position 0, nan of point 0 is none"},
      {kPts, "1 1\n", "1 inf\n", "line 4: the position"},
      {kPts, "}\n", "", "line 6: the file ends"},
      {kPts, "}\n", "}\n1 1\n", "line 6: the file goes on"},
      {kImglab, "ignore='1'", "", "line 10: a second box"},
      {kImglab, "name='01'", "name='00'", "line 8: point 00 is there twice"},
      {kImglab, "name='01'", "name='0&#10;1'", "line 8: \"0\\n1\" is no name"},
      {kImglab, "x='10'", "x='642'", "line 7: point 00 at 642, 20 is outside of its image of 640"},
      {kImglab, "x='10'", "", "line 7: a <part> has no x"},
      {kImglab, "x='10'", "x='1e999'", "line 7: x=\"1e999\" is no number"},
      {kImglab, "f_008", "f_007", "line 12: \"a/f_007.jpg\" is there already"},
      {kImglab, "</box>", "", "line "},
      {kImglab, "<dataset>", "<dataset", "line "},
      {kImglab, "'a/f_008.jpg'", "'a&#1;'", "line 12: \"a\\u0001\" is no name of an image"},
      {kCvatImages, "20.00\"", "20.00;1,1;\"", "line 3: \"\" is no position"},
      {kCvatImages, "1,1", "1,1;2,2", "line 6: 2 positions of label \"nose\""},
      {kCvatImages, "label=\"fin\"", "label=\"nose\"", "line 4: 2 positions"},
      {kCvatImages, "10.50,", "101.6,", "line 3: point nose at 101.1, 19.5 is outside"},
      {kCvatTracks, "\"tail\"", "\"a,b\"", "line 7: \"a,b\" is no name"},
      {kCvatTracks, "frame=\"4\"", "frame=\"x\"", "line 4: the frame \"x\""},
      {kCvatTracks, "<annotations>", "<notes/><annotations>", "is XML, but of none"},
      {kCoco, "[\"nose\"", "[\"no\\\"se\"", "category 0: \"no\\\"se\" is no name"},
      {kCoco, "[\"nose\"", "[\"tail\"", "annotation 0: point tail is there twice"},
      {kCoco, "10.5", "NaN", "line 4"},
      {kCoco, "10.5", "66", "annotation 0: point nose at 65.5, 19.5 is outside"},
      {kCoco, "10.5, 20, 2", "10.5, 20, 3", "annotation 0: the visibility 3"},
      {kCoco, "10.5, 20, 2,", "10.5, 20,", "annotation 0: 5 values for 2 key points"},
      {kCoco, "10.5", "\"10\"", "annotation 0: a position holds what is no number"},
      {kCoco, "\"image_id\": 7", "\"image_id\": 9", "annotation 0: there is no image"},
      {kCoco, "\"image_id\": 7", "\"image_id\": [[]]", "annotation 0: its \"image_id\""},
      {kCoco, "8, \"category_id\": 1, \"bbox\": [1, 2, 3, 4]",
       "7, \"category_id\": 1, \"keypoints\": [1, 2, 2, 3, 4, 2]",
       "annotation 1: \"f12.png\" is there already"},
      {kCoco, "\"id\": 8", "\"id\": 7", "image 1: an earlier image"},
      {kCoco, "\"categories\"", "\"dogs\"", "it has no \"categories\""},
      {kCoco, "[10.5", "[" + deep, "line 4: this is no JSON"},
      {kLabelme, "[[10.5, 20.25]]", "[[10.5]]", "shape 0: a point has not one position"},
      {kLabelme, "rectangle", "point", "shape 1: a point has not one position"},
      {kLabelme, "\"label\": \"nose\"", "\"label\": 1", "shape 0: its \"label\" is no text"},
      {kLabelme, "10.5", "-2", "shape 0: point nose at -2.5, 19.75 is outside"},
      {kLabelme, "nose", "no\\nse", "shape 0: \"no\\nse\" is no name"},
      {kDlcLabelled, "3,4,5,6", "3,4,5", "line 5: 6 cells under 7 columns"},
      {kDlcLabelled, "3,4,5,6", "3,four,5,6", "line 5: \"four\" is no number"},
      {kDlcLabelled, "3,4,5,6", "3,,5,6", "line 5: the position 3, nan of point nose is none"},
      {kDlcLabelled, "img0002", "img0010", "line 5: \"labeled-data/swim/img0010.png\" is there"},
      {kDlcLabelled, "x,y,x,y", "x,y,x,z", "line 3: \"z\" is none of x, y"},
      {kDlcLabelled, "nose,nose,", "tail,tail,", "line 3: \"tail\" has two columns x"},
      {kDlcLabelled, "x,y,x,y", "x,x,x,y", "line 3: \"nose\" has two columns x"},
      {kDlcLabelled, "nose,nose,tail", "\"a,b\",nose,tail", "line 3: \"a,b\" is no name"},
      {kDlcLabelled, "bodyparts", "parts", "line 2: a DeepLabCut table has a row"},
      {kDlcVideo, "one,one,one", "one,two,two", "line 2: it holds 2 individuals"},
      {kDlcVideo, "\n1,", "\n0,", "line 6: frame 0 is there already"},
      {kDlcVideo, "one,one,one", "one,\"one,one", "line 2: a quote does not end"},
      {kSleap, "track_0,5", "track_1,5", "line 3: track \"track_1\" follows track \"track_0\""},
      {kSleap, "track_0,5", "track_0,3", "line 3: frame 3 is there already"},
      {kSleap, "track_0,5", "track_0,9999999999", "line 3: the frame \"9999999999\""},
      {kSleap, "tail.y", "y.tail", "line 1: there is no column \"tail.y\""},
      {kSleap, "tail.y", "tail.x", "line 1: two columns are called \"tail.x\""},
      {"", "", "", "is empty"},
      {"", "", " \n", "is empty"},
      {"", "", deep, "ends too early"},
      {"", "", nested, "shape 0: it is no object"},
      {"", "", "{\"annotations\": []}", "it has no \"images\""},
      {"", "", "{\"shapes\": []}", "holds no positions"},
      {"", "", "<html/>", "is XML, but of none of the formats"},
      {"", "", "[1]", "is JSON, but of none of the formats"},
      {"", "", "a,b\n1,2\n", "is a table, but of none of the formats"},
      {"", "", "\x89PNG\r\n", "is a table, but of none of the formats"},
      {"", "", "frame,point,x,y\n\"a\nb\",0,1,2\n", "line 2: the frame \"a?b\""},
      {"", "", "frame,point,x,y\n0,0,1,2\n0,0,1,2\n", "line 3: point 0 of frame 0 is on line 2"},
  };
  for (const Fault& fault : faults) {
    const std::string name = file("f", damaged(fault));
    const std::string line = refusal([&] { imported({name}); });
    EXPECT_NE(line.find(fault.named), std::string::npos) << fault.to.substr(0, 60) << ": " << line;
    EXPECT_NE(line.find(name), std::string::npos) << line;
    EXPECT_LT(line.size(), 400U);
    EXPECT_EQ(line.find('\n'), std::string::npos) << line;
  }
}

TEST(Formats, anotherFormatThanTheWantedOneIsNamed) {
  const std::string coco = file("x.pts", kCoco);
  const std::string line = refusal([&] { imported({coco}, FileFormat::kPts); });
  EXPECT_EQ(line, coco + " is no file of the format pts: it looks like coco");
  EXPECT_EQ(imported({coco}, FileFormat::kCoco), imported({coco}));
  for (const FileFormat format : readFormats()) EXPECT_EQ(formatNamed(nameOf(format)), format);
}

TEST(Formats, fewBytesCannotAskForMuchMemory) {
  std::string xml = "<annotations>";
  for (int i = 0; i < 5000; ++i) {
    const std::string n = std::to_string(i);
    xml += "<image name='" + n + "'><points label='p" + n + "' points='1,1'/></image>";
  }
  const std::string name = file("many.xml", xml + "</annotations>");
  EXPECT_NE(refusal([&] { imported({name}); }).find("10 million positions"), std::string::npos);
  const std::string nested = file("nested.json", std::string(17'000'000, '['));
  EXPECT_NE(refusal([&] { imported({nested}); }).find("16 million values"), std::string::npos);
}

// A point of every status, and one that was never found.
Positions tracked() {
  Tracks tracks;
  tracks.names = {"nose", "ear \xc3\xb6; left.x"};
  tracks.frame_numbers = {7, 8, 10};
  const double none = unseen().x;
  tracks.shapes = {{{1.5, 2.25, 0.5, Status::kTracked}, {3.0625, 4.0, 0.25, Status::kOccluded}},
                   {{1.0, 2.0, 0.0, Status::kLost}, {none, none, 0.0, Status::kLost}},
                   {{-0.5, 0.0, 1.0, Status::kTracked}, {9.0, 8.0, 0.125, Status::kTracked}}};
  return positionsOf(tracks);
}

Annotations annotated() {
  Annotations annotations;
  annotations.names = {"nose", "fin"};
  annotations.frames = {{10, "a/f10.png", {{1.5, 2.0}, unseen()}},
                        {9, "a/f9.png", {{0.123456, 7.0}, {-0.5, 3.0}}}};
  return annotations;
}

std::string withoutStatus(const Positions& positions) {
  Positions known = positions;
  for (auto& frame : known.frames) {
    for (TrackedPoint& point : frame.points) point.status = Status::kTracked;
  }
  return formatAnnotations(annotationsOf(known));
}

TEST(Formats, tracksComeBackFromWhatIsWritten) {
  const Positions positions = tracked();
  for (const FileFormat format : {FileFormat::kDeepLabCut, FileFormat::kSleap}) {
    const std::string text = formatPositions(positions, format);
    EXPECT_EQ(importedWhole("written.csv", text), withoutStatus(positions));
    EXPECT_EQ(countOf("0.125000", text), 1) << text;  // the confidence
    EXPECT_EQ(countOf("nan", text), 0) << text;
  }
  const std::string table = formatPositions(positions, FileFormat::kTracks);
  EXPECT_EQ(formatPositions(readPositions(file("table.csv", table)), FileFormat::kTracks), table);
  // COCO holds who is hidden, but not where the lost ones were; frames get names.
  const std::string coco = formatPositions(positions, FileFormat::kCoco);
  EXPECT_NE(coco.find("\"keypoints\":[2.0,2.75,2,3.5625,4.5,1]"), std::string::npos) << coco;
  EXPECT_NE(coco.find("\"keypoints\":[0,0,0,0,0,0]"), std::string::npos) << coco;
  EXPECT_EQ(importedText("written.json", coco),
            "file,frame,point,name,x,y\n"
            "00007.png,7,0,nose,1.500000,2.250000\n"
            "00007.png,7,1,\"ear \xc3\xb6; left.x\",3.062500,4.000000\n"
            "00008.png,8,0,nose,,\n00008.png,8,1,\"ear \xc3\xb6; left.x\",,\n"
            "00010.png,10,0,nose,-0.500000,0.000000\n"
            "00010.png,10,1,\"ear \xc3\xb6; left.x\",9.000000,8.000000\n");
}

TEST(Formats, annotationsComeBackFromWhatIsWritten) {
  const Annotations annotations = annotated();
  const std::string table = formatAnnotations(annotations);
  const Positions positions = positionsOf(annotations);
  for (const FileFormat format :
       {FileFormat::kAnnotations, FileFormat::kCoco, FileFormat::kDeepLabCut}) {
    const std::string text = formatPositions(positions, format);
    EXPECT_EQ(importedText("written", text), table) << text;
    EXPECT_EQ(countOf("likelihood", text), 0);
  }
  // In files that know numbers alone, their order counts.
  EXPECT_EQ(formatPositions(positions, FileFormat::kSleap),
            "track,frame_idx,instance.score,nose.x,nose.y,nose.score,fin.x,fin.y,fin.score\n"
            ",9,,0.123456,7.000000,,-0.500000,3.000000,\n"
            ",10,,1.500000,2.000000,,,,\n");
}

TEST(Formats, whatAFileCannotHoldIsRefused) {
  Positions positions = positionsOf(annotated());
  const auto refused = [&](FileFormat format) {
    return refusal([&] { formatPositions(positions, format); });
  };
  EXPECT_EQ(refused(FileFormat::kShapes),
            "frame 10, point fin has no position: a shape sequence file needs them all");
  positions.frames[0].points[1] = positions.frames[0].points[0];
  EXPECT_EQ(formatPositions(positions, FileFormat::kShapes),
            "2\n2\n0.123456 7.000000\n-0.500000 3.000000\n"
            "2\n1.500000 2.000000\n1.500000 2.000000\n");
  positions.frames[0].number = 12;
  EXPECT_NE(refused(FileFormat::kShapes).find("frame 12 follows frame 9"), std::string::npos);
  positions.frames[0].number = 9;
  for (const FileFormat format : {FileFormat::kSleap, FileFormat::kTracks, FileFormat::kShapes}) {
    EXPECT_NE(refused(format).find("frame 9 is there twice"), std::string::npos);
  }
  EXPECT_EQ(refused(FileFormat::kDeepLabCut), "");
  positions.frames[0].file = "\xff.png";
  EXPECT_NE(refused(FileFormat::kCoco).find("UTF-8"), std::string::npos);
  EXPECT_NE(refused(FileFormat::kPts).find("not written"), std::string::npos);
  positions.frames.clear();
  EXPECT_NE(refused(FileFormat::kCoco).find("no positions"), std::string::npos);
}

TEST(Formats, aNewFileIsOfTheFormatOfItsName) {
  const std::pair<const char*, std::optional<FileFormat>> names[] = {
      {"a.json", FileFormat::kCoco},
      {"a.txt", FileFormat::kShapes},
      {"DLC.dir/a.csv", FileFormat::kAnnotations},
      {"swimDLC_net.csv", FileFormat::kDeepLabCut},
      {"CollectedData_me.csv", FileFormat::kDeepLabCut},
      {"a.analysis.csv", FileFormat::kSleap},
      {"a.h5", std::nullopt},
      {"csv", std::nullopt}};
  for (const auto& [name, format] : names) EXPECT_EQ(formatByName(name), format) << name;
}

}  // namespace
