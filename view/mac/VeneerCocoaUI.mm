// The class Veneer's Cocoa view property names: hosts make Veneer's window
// through it.
#import <AppKit/AppKit.h>
#import <AudioUnit/AUCocoaUIView.h>

#import "VeneerWindowView.h"

// Visible: the one symbol the bundle exports.
__attribute__((visibility("default")))
@interface VeneerCocoaUIViewFactory : NSObject<AUCocoaUIBase>
@end

@implementation VeneerCocoaUIViewFactory

// [main thread]
- (unsigned)interfaceVersion {
  return 0;
}

// [main thread]
- (NSString*)description {
  return @"Veneer";
}

// [main thread]
- (NSView*)uiViewForAudioUnit:(AudioUnit)unit withSize:(NSSize)size {
  if (unit == nullptr) {
    return nil;
  }
  return [[VeneerWindowView alloc] initWithVeneer:unit hostSize:size];
}

@end
