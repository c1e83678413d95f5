#import "EditorViews.h"

#import <AudioUnit/AUCocoaUIView.h>
#import <CoreAudioKit/AUGenericView.h>

NSView* VeneerProductEditor(AudioUnit inner, NSString* bundlePath, NSString* factoryClass, NSSize size) {
  // The product's code runs here: whatever it throws means "no view".
  @try {
    NSBundle* bundle = [NSBundle bundleWithPath:bundlePath];
    if (bundle == nil || ![bundle load]) {
      return nil;
    }
    Class factoryType = [bundle classNamed:factoryClass];
    if (factoryType == Nil || ![factoryType conformsToProtocol:@protocol(AUCocoaUIBase)] ||
        ![factoryType instancesRespondToSelector:@selector(uiViewForAudioUnit:withSize:)]) {
      return nil;
    }
    id<AUCocoaUIBase> factory = [[factoryType alloc] init];
    return [factory uiViewForAudioUnit:inner withSize:size];
  } @catch (id thrown) {
    (void)thrown;
    return nil;
  }
}

NSView* VeneerGenericEditor(AudioUnit inner) { return [[AUGenericView alloc] initWithAudioUnit:inner]; }
