// The settings file's syntax: a function of its bytes alone.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "link/SettingsFile.h"
#include "shell/SupportFolder.h"

namespace {

using veneer::ParseSettings;
using veneer::Settings;

TEST(SettingsParser, EmptyFileGivesNothingToApplyAndNoQuitMarker) {
  const Settings settings = ParseSettings("");
  EXPECT_EQ(settings.seq, -1);
  EXPECT_EQ(settings.appRunning, 1.0);
  EXPECT_EQ(settings.Value("key"), -1.0);
  EXPECT_EQ(settings.Value("wetDry"), -1.0);
}

TEST(SettingsParser, FullFileFillsEveryEntry) {
  const Settings s = ParseSettings(
      "seq=57\nappRunning=1\nkey=9\nscale=1\ncorrectionMode=0\nretune=0.25\ntranspose=0.5\nclassicMode=0\n"
      "inputType=0.25\nhumanize=0\nflexTune=0\nnaturalVibrato=0.5\nvibratoAmplitude=0.2\ntracking=0.5\n"
      "formant=1\nthroat=0.5\nwetDry=1\n");
  EXPECT_EQ(s.seq, 57);
  EXPECT_EQ(s.Value("key"), 9.0);
  EXPECT_EQ(s.Value("scale"), 1.0);
  EXPECT_EQ(s.Value("correctionMode"), 0.0);
  EXPECT_EQ(s.Value("retune"), 0.25);
  EXPECT_EQ(s.Value("transpose"), 0.5);
  EXPECT_EQ(s.Value("classicMode"), 0.0);
  EXPECT_EQ(s.Value("inputType"), 0.25);
  EXPECT_EQ(s.Value("humanize"), 0.0);
  EXPECT_EQ(s.Value("flexTune"), 0.0);
  EXPECT_EQ(s.Value("naturalVibrato"), 0.5);
  EXPECT_EQ(s.Value("vibratoAmplitude"), 0.2);
  EXPECT_EQ(s.Value("tracking"), 0.5);
  EXPECT_EQ(s.Value("formant"), 1.0);
  EXPECT_EQ(s.Value("throat"), 0.5);
  EXPECT_EQ(s.Value("wetDry"), 1.0);
}

TEST(SettingsParser, SeqIsTruncatedTowardZero) {
  EXPECT_EQ(ParseSettings("seq=3.9").seq, 3);
  EXPECT_EQ(ParseSettings("seq=-2").seq, -2);
  EXPECT_EQ(ParseSettings("seq=-2.7").seq, -2);
  EXPECT_EQ(ParseSettings("seq=abc").seq, 0);
  EXPECT_LT(ParseSettings("seq=nan").seq, 0);
  EXPECT_EQ(ParseSettings("seq=1e30").seq, INT64_MAX);
}

TEST(SettingsParser, KeysAreExactAndValuesAreReadLikeAtof) {
  EXPECT_EQ(ParseSettings("key= 5").Value("key"), 5.0);
  EXPECT_EQ(ParseSettings("key =5").Value("key"), -1.0);
  EXPECT_EQ(ParseSettings("Key=5").Value("key"), -1.0);
  EXPECT_EQ(ParseSettings("retune=0.3=0.9").Value("retune"), 0.3);
  EXPECT_EQ(ParseSettings("retune=.5x").Value("retune"), 0.5);
  EXPECT_EQ(ParseSettings("appRunning=abc").appRunning, 0.0);
  EXPECT_EQ(ParseSettings("no equals sign\nkey=2").Value("key"), 2.0);
  EXPECT_TRUE(std::isnan(ParseSettings("wetDry=nan").Value("wetDry")));
}

TEST(SettingsParser, CarriageReturnsAndAMissingFinalLineEndDoNoHarm) {
  const Settings s = ParseSettings("seq=4\r\nkey=7\r\nretune=0.1");
  EXPECT_EQ(s.seq, 4);
  EXPECT_EQ(s.Value("key"), 7.0);
  EXPECT_EQ(s.Value("retune"), 0.1);
}

TEST(SettingsParser, AliasesAndRepeatedKeysKeepTheLastLine) {
  EXPECT_EQ(ParseSettings("0=2\ncorrectionMode=1").Value("correctionMode"), 1.0);
  EXPECT_EQ(ParseSettings("correctionMode=1\n0=2").Value("correctionMode"), 2.0);
  EXPECT_EQ(ParseSettings("47=0.3\nvibratoAmplitude=0.6").Value("vibratoAmplitude"), 0.6);
  EXPECT_EQ(ParseSettings("vibratoAmplitude=0.6\n47=0.3").Value("vibratoAmplitude"), 0.3);
  EXPECT_EQ(ParseSettings("key=1\nkey=3").Value("key"), 3.0);
}

TEST(SettingsParser, GarbageParsesWithoutHarm) {
  std::mt19937 random(1234);
  std::string garbage(1 << 16, '\0');
  for (char& byte : garbage) {
    byte = static_cast<char>(random());
  }
  garbage += "\nkey=4\n";
  EXPECT_EQ(ParseSettings(garbage).Value("key"), 4.0);

  const std::string withNul = std::string("key=3\0junk\nseq=2", 16);
  EXPECT_EQ(ParseSettings(withNul).Value("key"), 3.0);
  EXPECT_EQ(ParseSettings(withNul).seq, 2);
}

// `text` made exactly `size` bytes long by zeros after it, which atof reads as
// the same number.
std::string Padded(std::string text, size_t size) {
  text.resize(size, '0');
  return text;
}

TEST(SettingsParser, LinesLongerThanTheBoundAreSkippedWhole) {
  constexpr size_t kBound = veneer::kSettingsLineLimit;
  EXPECT_EQ(ParseSettings(Padded("retune=0.5", kBound)).Value("retune"), 0.5);
  EXPECT_EQ(ParseSettings(Padded("retune=0.5", kBound - 1) + "\r\nseq=1").Value("retune"), 0.5);
  EXPECT_EQ(ParseSettings(Padded("retune=0.5", kBound + 1)).Value("retune"), -1.0);
  EXPECT_EQ(ParseSettings(Padded("retune=0.5", kBound) + "\r\nseq=1").Value("retune"), -1.0);

  // The lines around a long one are read as ever.
  const Settings s = ParseSettings("key=2\nretune=0.5" + std::string(2'000'000, '9') + "\nseq=8\n" +
                                   Padded("key=7", kBound + 1) + "\nhumanize=0.3");
  EXPECT_EQ(s.seq, 8);
  EXPECT_EQ(s.Value("retune"), -1.0);
  EXPECT_EQ(s.Value("key"), 2.0);
  EXPECT_EQ(s.Value("humanize"), 0.3);
}

// Every file of the support folder has its path from one place; only the
// settings file falls back to the working folder when HOME is unset.
TEST(SettingsParser, SupportPathsFollowHomeAndOnlyTheSettingsFileFallsBack) {
  const char* saved = std::getenv("HOME");
  const std::string home = saved != nullptr ? saved : "";
  setenv("HOME", "/home/singer", 1);
  EXPECT_EQ(veneer::IpcPath(), "/home/singer/Library/Application Support/Tonvale/plugin_state.txt");
  EXPECT_EQ(veneer::SupportFilePath(veneer::kAliveFileName),
            "/home/singer/Library/Application Support/Tonvale/veneer_alive.txt");
  unsetenv("HOME");
  EXPECT_EQ(veneer::IpcPath(), "./Library/Application Support/Tonvale/plugin_state.txt");
  EXPECT_EQ(veneer::SupportFilePath(veneer::kAliveFileName), std::nullopt);
  if (saved != nullptr) {
    setenv("HOME", home.c_str(), 1);
  }
}

}  // namespace
