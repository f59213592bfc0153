// Faces beside pictures of them that were looked at. UPDATE_GOLDEN=1 writes new ones; look at
// them before they are kept.
#include "bridge/FacePainter.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>

#include "bridge/FaceSheet.h"
#include "bridge/PanelFile.h"
#include "tests/support/Texts.h"
#include "tools/common/TemporaryFolder.h"

namespace {

using bridge::Face;
using bridge::FacePainter;
using bridge::FaceSheet;
using bridge::Panel;
using bridge::PanelFile;
using bridge::Symbols;
using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;

// Of 255: the mean difference that another version of a font or of a rasterizer makes.
constexpr double kMeanTolerance = 4;

Face face(Panel::Face kind, Panel::State state, const char* label, const char* symbol,
          const char* words) {
  Face result;
  result.kind = kind;
  result.state = state;
  result.colour = 0x3ddc84;
  result.label = label;
  result.symbol = symbol;
  result.words = words;
  return result;
}

Surface load(const std::string& file) {
  return {cairo_image_surface_create_from_png(file.c_str()), &cairo_surface_destroy};
}

double differenceOf(cairo_surface_t* one, cairo_surface_t* other) {
  const int width = cairo_image_surface_get_width(one);
  const int height = cairo_image_surface_get_height(one);
  if (width != cairo_image_surface_get_width(other) ||
      height != cairo_image_surface_get_height(other)) {
    return 255;
  }
  double sum = 0;
  for (int y = 0; y < height; ++y) {
    const unsigned char* a =
        cairo_image_surface_get_data(one) + y * cairo_image_surface_get_stride(one);
    const unsigned char* b =
        cairo_image_surface_get_data(other) + y * cairo_image_surface_get_stride(other);
    for (int x = 0; x < 4 * width; ++x) sum += x % 4 == 3 ? 0 : std::abs(a[x] - b[x]);
  }
  return sum / (3.0 * width * height);
}

class FacePainterTest : public testing::Test {
 protected:
  void expectLikeGolden(const std::string& name, const Face& shown, int pixels = 144) {
    const std::string golden = std::string(VELOMAR_ROOT "/tests/bridge/golden/") + name + ".png";
    const std::string drawn = testing::TempDir() + "velomar-" + name + ".png";
    const bool isUpdate = std::getenv("UPDATE_GOLDEN") != nullptr;
    std::ofstream(isUpdate ? golden : drawn, std::ios::binary) << painter.png(shown, pixels);
    if (isUpdate) return;
    EXPECT_LT(differenceOf(load(drawn).get(), load(golden).get()), kMeanTolerance)
        << drawn << " beside " << golden;
    std::remove(drawn.c_str());
  }

  Symbols symbols{VELOMAR_ROOT "/bridge/symbols"};
  FacePainter painter{symbols};
};

TEST_F(FacePainterTest, DrawsEachStateAsItWasLookedAt) {
  using Kind = Panel::Face;
  using State = Panel::State;
  const Face lit = face(Kind::Switch, State::On, "BEACON", "beacon", "ON");
  for (const auto& [name, pixels] : {std::pair("on", 144), {"on-72", 72}, {"on-96", 96}}) {
    expectLikeGolden(name, lit, pixels);
  }
  expectLikeGolden("off", face(Kind::Switch, State::Off, "BEACON", "beacon", "OFF"));
  expectLikeGolden("fault", face(Kind::Switch, State::Fault, "ELEC", "bolt", "FAILED"));
  expectLikeGolden("unavailable",
                   face(Kind::Switch, State::Unavailable, "NAV LT", "nav-light", ""));
  Face gear = face(Kind::Switch, State::Transit, "GEAR", "gear", "TRANSIT");
  gear.frame = Face::kFrames / 2;
  expectLikeGolden("transit", gear);
  Face absent = face(Kind::Switch, State::Off, "STROBE", "strobe", "LOST");
  absent.isAbsent = true;
  expectLikeGolden("lost", absent);
}

TEST_F(FacePainterTest, DrawsEachKindAsItWasLookedAt) {
  using Kind = Panel::Face;
  using State = Panel::State;
  Face number = face(Kind::Number, State::On, "COM1", "", "");
  number.body = "118.250";
  expectLikeGolden("number", number);
  Face text = face(Kind::Text, State::On, "MODE", "", "");
  text.body = "ALTITUDE HOLD";
  expectLikeGolden("text", text);
  Face compass = face(Kind::Compass, State::On, "HDG", "", "");
  compass.needle = 54;
  compass.mark = 9;
  expectLikeGolden("compass", compass);
  compass.shape = Face::Shape::Dial;
  expectLikeGolden("dial", compass);
  Face clock = face(Kind::Clock, State::On, "UTC", "", "");
  clock.needle = 10 * 60 + 9;
  expectLikeGolden("clock", clock);
  Face titled = face(Kind::Switch, State::On, "TAXI", "taxi-light", "");
  titled.hasBar = true;
  expectLikeGolden("titled", titled);
}

TEST_F(FacePainterTest, EachSymbolThatShipsShowsEachState) {
  EXPECT_GE(symbols.names().size(), 14U);
  for (const std::string& name : symbols.names()) {
    std::set<std::string> pictures;
    for (const auto state : {Panel::State::On, Panel::State::Off, Panel::State::Transit,
                             Panel::State::Fault, Panel::State::Unavailable}) {
      pictures.insert(painter.png(face(Panel::Face::Lamp, state, "", name.c_str(), "")));
    }
    // On and off are told apart by an instrument's needle.
    const bool isPlate = name == "clock" || name == "compass" || name == "scale";
    EXPECT_EQ(pictures.size(), isPlate ? 4U : 5U) << name;
  }
}

TEST_F(FacePainterTest, AUsersPictureThatCannotBeReadCostsThePictureOnly) {
  const std::string broken = testing::TempDir() + "broken.png";
  for (const char* content :
       {"", "no picture", "\x89PNG\r\n", "<svg>", "<svg xmlns=\"http://www.w3.org/2000/svg\"/>"}) {
    std::ofstream(broken) << content;
    symbols.forget();
    Face shown = face(Panel::Face::Picture, Panel::State::On, "", "", "");
    shown.picture = broken;
    EXPECT_FALSE(painter.png(shown).empty()) << content;
  }
  std::remove(broken.c_str());
}

TEST(FaceSheet, ShowsAKeyOfAnyName) {
  const TemporaryFolder folder;
  Symbols symbols(VELOMAR_ROOT "/bridge/symbols");
  const auto file = PanelFile::fromText("panel: P\nkeys: {\"A #2/50%?\": {face: lamp, on: 1}}\n",
                                        "p.yaml", symbols.names());
  FaceSheet(file.panel(), symbols).write(folder.path());
  EXPECT_TRUE(std::filesystem::exists(folder.path() / "A #2_50%?-on-144.png"));
  const std::string text = contentOf(folder.path() / "index.html");
  EXPECT_NE(text.find("src=\"A %232_50%25%3F-on-144.png\""), std::string::npos) << text;
}

}  // namespace
