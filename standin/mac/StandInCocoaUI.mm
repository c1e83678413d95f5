// The stand-in products' own editor: a fixed-size view naming the unit. When a
// host (Veneer's window) takes it out, it tells whether its unit was still
// alive, so that a test can see that the editor goes before the unit.
#import <AppKit/AppKit.h>
#include <AudioToolbox/AudioToolbox.h>
#import <AudioUnit/AUCocoaUIView.h>

namespace {

constexpr CGFloat kWidth = 420;
constexpr CGFloat kHeight = 240;

// [main thread] "Stand-in: Auto-Tune Pro", as the unit's component is named.
NSString* NameOf(AudioUnit unit) {
  CFStringRef name = nullptr;
  AudioComponent component = AudioComponentInstanceGetComponent(unit);
  if (component == nullptr || AudioComponentCopyName(component, &name) != noErr || name == nullptr) {
    return @"Stand-in";
  }
  return (__bridge_transfer NSString*)name;
}

// [main thread] A cheap call that only an open unit answers.
bool Alive(AudioUnit unit) {
  UInt32 size = 0;
  Boolean writable = false;
  return AudioUnitGetPropertyInfo(unit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0, &size, &writable) ==
         noErr;
}

}  // namespace

@interface StandInEditorView : NSView
// [main thread]
- (instancetype)initWithUnit:(AudioUnit)unit;
@end

@implementation StandInEditorView {
  AudioUnit _unit;
}

- (instancetype)initWithUnit:(AudioUnit)unit {
  self = [super initWithFrame:NSMakeRect(0, 0, kWidth, kHeight)];
  if (self == nil) {
    return nil;
  }
  _unit = unit;
  self.identifier = @"standin.view";
  NSTextField* label = [NSTextField labelWithString:NameOf(unit)];
  label.alignment = NSTextAlignmentCenter;
  label.frame = NSMakeRect(20, kHeight / 2 - 12, kWidth - 40, 24);
  [self addSubview:label];
  return self;
}

// [main thread]
- (void)viewWillMoveToSuperview:(NSView*)newSuperview {
  [super viewWillMoveToSuperview:newSuperview];
  if (newSuperview != nil || self.superview == nil) {
    return;
  }
  [[NSNotificationCenter defaultCenter] postNotificationName:@"StandInViewRemoved"
                                                      object:self
                                                    userInfo:@{@"unitAlive" : @(Alive(_unit))}];
}

@end

// Visible: the one symbol the bundle exports.
__attribute__((visibility("default")))
@interface StandInCocoaUIViewFactory : NSObject<AUCocoaUIBase>
@end

@implementation StandInCocoaUIViewFactory

// [main thread]
- (unsigned)interfaceVersion {
  return 0;
}

// [main thread]
- (NSString*)description {
  return @"Stand-in";
}

// [main thread] Always its own size, whatever the host suggests.
- (NSView*)uiViewForAudioUnit:(AudioUnit)unit withSize:(NSSize)size {
  (void)size;
  if (unit == nullptr) {
    return nil;
  }
  return [[StandInEditorView alloc] initWithUnit:unit];
}

@end
