// Veneer's window as a host shows it: opens the installed Veneer, makes its
// Cocoa view from the bundle and class its view property names, puts it in an
// offscreen window and checks what it embeds (nothing without a product, the
// product's own editor, or the generic view), then that the editor leaves
// before its unit when Veneer lets the product go. The macOS workflow runs it
// against the installed bundles; one PASS or FAIL line per check.
//   veneer_view_window_test --expect no-product|product-view|generic-view [--force PRODUCT]
// --force writes PRODUCT to force_variant.txt for the run.
#import <AppKit/AppKit.h>
#include <AudioToolbox/AudioToolbox.h>
#import <AudioUnit/AUCocoaUIView.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace {

enum class Expect { kNoProduct, kProductView, kGenericView };

struct Options {
  Expect expect = Expect::kNoProduct;
  std::optional<std::string> force;
};

std::optional<Options> Parse(int argc, char** argv) {
  Options options;
  bool expected = false;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string flag = argv[i];
    const std::string value = argv[i + 1];
    if (flag == "--force") {
      options.force = value;
      continue;
    }
    if (flag != "--expect") {
      return std::nullopt;
    }
    expected = true;
    if (value == "no-product") {
      options.expect = Expect::kNoProduct;
    } else if (value == "product-view") {
      options.expect = Expect::kProductView;
    } else if (value == "generic-view") {
      options.expect = Expect::kGenericView;
    } else {
      return std::nullopt;
    }
  }
  if (!expected || argc % 2 == 0) {
    return std::nullopt;
  }
  return options;
}

int gFailures = 0;

bool Check(bool passed, const std::string& what) {
  std::printf("%s %s\n", passed ? "PASS" : "FAIL", what.c_str());
  std::fflush(stdout);
  gFailures += passed ? 0 : 1;
  return passed;
}

std::string Utf8(NSString* text) { return text != nil ? std::string(text.UTF8String) : std::string(); }

// ---- the support folder, as the companion application leaves it ----

std::filesystem::path SupportFolder() {
  const char* home = std::getenv("HOME");
  return std::filesystem::path(home != nullptr ? home : "") / "Library/Application Support/Tonvale";
}

// Puts `text` in a support file for the run, then puts back what was there.
class SupportFileForRun {
 public:
  SupportFileForRun(const std::string& name, const std::string& text) : path_(SupportFolder() / name) {
    std::error_code error;
    std::filesystem::create_directories(path_.parent_path(), error);
    if (std::ifstream in(path_); in) {
      std::ostringstream previous;
      previous << in.rdbuf();
      previous_ = previous.str();
    }
    std::ofstream(path_, std::ios::trunc) << text;
  }
  ~SupportFileForRun() {
    if (previous_) {
      std::ofstream(path_, std::ios::trunc) << *previous_;
    } else {
      std::error_code error;
      std::filesystem::remove(path_, error);
    }
  }
  SupportFileForRun(const SupportFileForRun&) = delete;
  SupportFileForRun& operator=(const SupportFileForRun&) = delete;

 private:
  std::filesystem::path path_;
  std::optional<std::string> previous_;
};

// ---- the host's side ----

// Runs the main run loop until `done` holds (and `minimum` seconds have passed)
// or `limit` seconds have passed; whether it held.
bool RunUntil(double limit, double minimum, const std::function<bool()>& done) {
  NSDate* start = [NSDate date];
  // Keeps the loop from returning at once when nothing else is scheduled.
  NSTimer* keepAlive = [NSTimer timerWithTimeInterval:0.05
                                              repeats:YES
                                                block:^(NSTimer* timer) {
                                                  (void)timer;
                                                }];
  [[NSRunLoop mainRunLoop] addTimer:keepAlive forMode:NSDefaultRunLoopMode];
  bool held = false;
  for (;;) {
    const double elapsed = -[start timeIntervalSinceNow];
    @autoreleasepool {
      held = done();
    }
    if ((held && elapsed >= minimum) || elapsed >= limit) {
      break;
    }
    @autoreleasepool {
      [[NSRunLoop mainRunLoop] runMode:NSDefaultRunLoopMode beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.05]];
    }
  }
  [keepAlive invalidate];
  return held;
}

NSView* FindView(NSView* root, NSString* identifier) {
  if ([root.identifier isEqualToString:identifier]) {
    return root;
  }
  for (NSView* child in root.subviews) {
    if (NSView* found = FindView(child, identifier); found != nil) {
      return found;
    }
  }
  return nil;
}

std::string StripText(NSView* view) {
  NSView* strip = FindView(view, @"veneer.strip");
  return [strip isKindOfClass:[NSTextField class]] ? Utf8(((NSTextField*)strip).stringValue) : std::string();
}

bool Contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

std::string SizeText(NSSize size) {
  return std::to_string(static_cast<int>(size.width)) + "x" + std::to_string(static_cast<int>(size.height));
}

struct CocoaViewOffer {
  NSURL* bundle = nil;
  NSString* factoryClass = nil;
};

// The unit's Cocoa view property as a host reads it: a URL and one class name
// per pointer's worth of the rest, all the caller's to release.
std::optional<CocoaViewOffer> CocoaViewOf(AudioUnit unit) {
  UInt32 size = 0;
  Boolean writable = false;
  if (AudioUnitGetPropertyInfo(unit, kAudioUnitProperty_CocoaUI, kAudioUnitScope_Global, 0, &size, &writable) !=
          noErr ||
      size < sizeof(AudioUnitCocoaViewInfo)) {
    return std::nullopt;
  }
  std::vector<unsigned char> storage(size);
  if (AudioUnitGetProperty(unit, kAudioUnitProperty_CocoaUI, kAudioUnitScope_Global, 0, storage.data(), &size) !=
          noErr ||
      size < sizeof(AudioUnitCocoaViewInfo)) {
    return std::nullopt;
  }
  CFURLRef location = nullptr;
  std::memcpy(&location, storage.data(), sizeof location);
  CocoaViewOffer offer;
  offer.bundle = (__bridge_transfer NSURL*)location;
  const size_t classes = (size - sizeof(CFURLRef)) / sizeof(CFStringRef);
  for (size_t i = 0; i < classes; ++i) {
    CFStringRef name = nullptr;
    std::memcpy(&name, storage.data() + sizeof(CFURLRef) + i * sizeof(CFStringRef), sizeof name);
    NSString* owned = (__bridge_transfer NSString*)name;
    if (i == 0) {
      offer.factoryClass = owned;
    }
  }
  return offer;
}

// Opens the installed Veneer and initialises it for 44.1 kHz stereo float.
AudioUnit OpenVeneer() {
  AudioComponentDescription description{kAudioUnitType_Effect, 'Vnr1', 'Tnvl', 0, 0};
  AudioComponent component = AudioComponentFindNext(nullptr, &description);
  if (!Check(component != nullptr, "Veneer (aufx Vnr1 Tnvl) is installed")) {
    return nullptr;
  }
  AudioUnit veneer = nullptr;
  if (!Check(AudioComponentInstanceNew(component, &veneer) == noErr && veneer != nullptr, "Veneer opens")) {
    return nullptr;
  }
  AudioStreamBasicDescription format{};
  format.mSampleRate = 44100;
  format.mFormatID = kAudioFormatLinearPCM;
  format.mFormatFlags =
      static_cast<AudioFormatFlags>(kAudioFormatFlagsNativeFloatPacked) | kAudioFormatFlagIsNonInterleaved;
  format.mBytesPerPacket = 4;
  format.mFramesPerPacket = 1;
  format.mBytesPerFrame = 4;
  format.mChannelsPerFrame = 2;
  format.mBitsPerChannel = 32;
  bool formatSet = true;
  for (const AudioUnitScope scope : {kAudioUnitScope_Input, kAudioUnitScope_Output}) {
    formatSet = formatSet && AudioUnitSetProperty(veneer, kAudioUnitProperty_StreamFormat, scope, 0, &format,
                                                  sizeof format) == noErr;
  }
  Check(formatSet, "Veneer takes 44.1 kHz stereo float");
  Check(AudioUnitInitialize(veneer) == noErr, "Veneer initialises on the main thread");
  RunUntil(0.5, 0, [] { return false; });  // creation work posted to the main queue
  return veneer;
}

// Veneer's view, made as a host makes it from what the property offers.
NSView* MakeVeneerView(AudioUnit veneer) {
  const std::optional<CocoaViewOffer> offer = CocoaViewOf(veneer);
  if (!Check(offer && offer->bundle != nil && offer->factoryClass != nil, "Veneer offers a Cocoa view")) {
    return nil;
  }
  const std::string path = Utf8(offer->bundle.path);
  Check(Contains(path, "Veneer.component/Contents/Resources/VeneerCocoaUI.bundle"),
        "the view bundle lies in Veneer.component's Resources (" + path + ")");
  Check([offer->factoryClass isEqualToString:@"VeneerCocoaUIViewFactory"],
        "the factory class is VeneerCocoaUIViewFactory (" + Utf8(offer->factoryClass) + ")");
  NSBundle* bundle = [NSBundle bundleWithURL:offer->bundle];
  if (!Check(bundle != nil && [bundle load], "the view bundle loads")) {
    return nil;
  }
  Class factoryClass = [bundle classNamed:offer->factoryClass];
  if (!Check(factoryClass != Nil, "the bundle has the factory class") ||
      !Check([factoryClass conformsToProtocol:@protocol(AUCocoaUIBase)] &&
                 [factoryClass instancesRespondToSelector:@selector(uiViewForAudioUnit:withSize:)],
             "the factory class is a Cocoa view factory (AUCocoaUIBase)")) {
    return nil;
  }
  id<AUCocoaUIBase> factory = [[factoryClass alloc] init];
  Check([factory interfaceVersion] == 0, "the factory's interface version is 0");
  NSView* view = [factory uiViewForAudioUnit:veneer withSize:NSMakeSize(600, 400)];
  Check(view != nil, "the factory makes Veneer's view");
  return view;
}

// Whether the window shows what is expected, checked once it settles.
bool Settled(NSView* view, Expect expect) {
  switch (expect) {
    case Expect::kNoProduct:
      return Contains(StripText(view), "No supported product");
    case Expect::kProductView: {
      NSView* holder = FindView(view, @"veneer.product");
      return holder != nil && FindView(holder, @"standin.view") != nil;
    }
    case Expect::kGenericView:
      return FindView(view, @"veneer.generic") != nil;
  }
  return false;
}

void CheckWindow(NSView* view, const Options& options) {
  const std::string strip = StripText(view);
  NSView* product = FindView(view, @"veneer.product");
  NSView* generic = FindView(view, @"veneer.generic");
  switch (options.expect) {
    case Expect::kNoProduct:
      Check(product == nil && generic == nil, "nothing is embedded without a product");
      Check(Contains(strip, "No supported product"), "the status says no supported product is installed: " + strip);
      return;
    case Expect::kProductView: {
      NSView* editor = FindView(product, @"standin.view");
      const NSSize editorSize = editor != nil ? editor.frame.size : NSZeroSize;
      Check(product != nil && editor != nil, "the product's own editor is embedded (veneer.product > standin.view)");
      Check(NSEqualSizes(editorSize, NSMakeSize(420, 240)),
            "the editor keeps its size, 420x240: " + SizeText(editorSize));
      Check(view.frame.size.width >= 420 && view.frame.size.height >= 240,
            "Veneer's view holds it: " + SizeText(view.frame.size));
      Check(generic == nil, "no generic view beside it");
      break;
    }
    case Expect::kGenericView:
      Check(generic != nil && generic.subviews.count > 0, "the generic view is embedded (veneer.generic)");
      Check(product == nil && FindView(view, @"standin.view") == nil, "no product view");
      break;
  }
  if (options.force) {
    Check(Contains(strip, *options.force), "the strip names " + *options.force + ": " + strip);
  }
}

// Uninitialises Veneer while its view lives: the embedded editor must leave
// the window, and the stand-in's before its unit is disposed.
void CheckEditorLeaves(AudioUnit veneer, NSView* view, Expect expect) {
  __weak NSView* holder = nil;
  __weak NSView* editor = nil;
  @autoreleasepool {
    holder = FindView(view, expect == Expect::kProductView ? @"veneer.product" : @"veneer.generic");
    editor = holder.subviews.firstObject;
  }
  __block int removals = 0;
  __block BOOL unitAlive = NO;
  id observer = [[NSNotificationCenter defaultCenter] addObserverForName:@"StandInViewRemoved"
                                                                  object:nil
                                                                   queue:nil
                                                              usingBlock:^(NSNotification* notification) {
                                                                ++removals;
                                                                unitAlive =
                                                                    [notification.userInfo[@"unitAlive"] boolValue];
                                                              }];
  Check(AudioUnitUninitialize(veneer) == noErr, "Veneer uninitialises on the main thread");
  RunUntil(2, 0.3, [&] { return editor == nil || editor.superview == nil; });
  Check(holder == nil || holder.superview == nil, "the editor's container left Veneer's view");
  Check(editor == nil || editor.superview == nil, "the editor left its container");
  if (expect == Expect::kProductView) {
    Check(removals == 1 && unitAlive, "the stand-in's editor was removed while its unit was open (" +
                                          std::to_string(removals) + " removal(s), unit " +
                                          (unitAlive ? "open" : "gone") + ")");
  }
  [[NSNotificationCenter defaultCenter] removeObserver:observer];
}

}  // namespace

int main(int argc, char** argv) {
  const std::optional<Options> options = Parse(argc, argv);
  if (!options) {
    std::fprintf(stderr,
                 "usage: veneer_view_window_test --expect no-product|product-view|generic-view [--force PRODUCT]\n");
    return 2;
  }
  std::optional<SupportFileForRun> forced;
  if (options->force) {
    forced.emplace("force_variant.txt", *options->force + "\n");
  }
  const SupportFileForRun companion("plugin_state.txt", "appRunning=1\n");

  @autoreleasepool {
    [NSApplication sharedApplication];
    [NSApp setActivationPolicy:NSApplicationActivationPolicyAccessory];
  }
  AudioUnit veneer = nullptr;
  @autoreleasepool {
    veneer = OpenVeneer();
  }
  if (veneer == nullptr) {
    return 1;
  }
  __weak NSView* released = nil;
  bool made = false;
  @autoreleasepool {
    NSView* view = MakeVeneerView(veneer);
    if (view != nil) {
      made = true;
      released = view;
      NSWindow* window = [[NSWindow alloc] initWithContentRect:NSMakeRect(0, 0, 800, 600)
                                                     styleMask:NSWindowStyleMaskBorderless
                                                       backing:NSBackingStoreBuffered
                                                         defer:YES];
      window.releasedWhenClosed = NO;
      [window.contentView addSubview:view];
      RunUntil(10, 0.5, [&] { return Settled(view, options->expect); });
      CheckWindow(view, *options);
      if (options->expect != Expect::kNoProduct) {
        CheckEditorLeaves(veneer, view, options->expect);
      }
      [view removeFromSuperview];
      [window close];
    }
  }
  if (made) {
    RunUntil(1, 0, [&] { return released == nil; });
    Check(released == nil, "Veneer's view is released once the host lets go of it");
  }
  AudioUnitUninitialize(veneer);
  Check(AudioComponentInstanceDispose(veneer) == noErr, "Veneer closes");
  std::printf("%s: %d check(s) failed\n", gFailures == 0 ? "PASSED" : "FAILED", gFailures);
  return gFailures == 0 ? 0 : 1;
}
