// The inner unit's editors as Veneer's window embeds them.
#pragma once

#import <AppKit/AppKit.h>
#include <AudioToolbox/AudioUnit.h>

// [main thread] The product's own editor of `inner`, made by `factoryClass` in
// the Cocoa view bundle at `bundlePath` as a host makes it; nil when the
// bundle does not load, the class is not a Cocoa view factory or it makes no
// view.
NSView* VeneerProductEditor(AudioUnit inner, NSString* bundlePath, NSString* factoryClass, NSSize size);

// [main thread] The system's generic view of `inner`'s parameters.
NSView* VeneerGenericEditor(AudioUnit inner);
