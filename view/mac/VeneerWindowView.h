// Veneer's window: a one-line status strip on top and, below it, the inner
// unit's editor (the product's own or the generic view of its parameters), as
// veneerview::WindowController decides. It takes the editor's size and
// follows it.
#pragma once

#import <AppKit/AppKit.h>
#include <AudioToolbox/AudioUnit.h>

@interface VeneerWindowView : NSView

// [main thread] The window of `veneer`; `hostSize` is the size the host
// suggested, passed on to the product's editor.
- (instancetype)initWithVeneer:(AudioUnit)veneer hostSize:(NSSize)hostSize;

@end
