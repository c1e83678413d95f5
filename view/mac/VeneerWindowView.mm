#import "VeneerWindowView.h"

#include <algorithm>
#include <memory>
#include <string>

#import "EditorViews.h"
#include "WindowController.h"
#include "WindowSurface.h"

namespace {

constexpr CGFloat kStripHeight = 24;
constexpr CGFloat kMargin = 8;
// Narrower, the strip's usual line would be cut short.
constexpr CGFloat kMinimumWidth = 480;
// The window when the status is all it shows.
constexpr CGFloat kStatusWidth = 520;
constexpr CGFloat kStatusHeight = 120;
// Asked of a product's editor when the host suggests nothing usable.
constexpr CGFloat kEditorWidth = 600;
constexpr CGFloat kEditorHeight = 400;
constexpr NSTimeInterval kRefreshInterval = 0.3;

NSString* const kStripIdentifier = @"veneer.strip";
NSString* const kProductIdentifier = @"veneer.product";
NSString* const kGenericIdentifier = @"veneer.generic";

NSString* StringOf(const std::string& text) {
  NSString* string = [[NSString alloc] initWithBytes:text.data() length:text.size() encoding:NSUTF8StringEncoding];
  return string != nil ? string : @"";
}

}  // namespace

@interface VeneerWindowView ()
// [main thread] What the controller asks of the window.
- (BOOL)embedProductViewOf:(AudioUnit)inner bundlePath:(NSString*)bundlePath factoryClass:(NSString*)factoryClass;
// [main thread]
- (void)embedGenericViewOf:(AudioUnit)inner;
// [main thread]
- (void)removeEmbedded;
// [main thread]
- (void)showStatus:(NSString*)text wholeWindow:(BOOL)wholeWindow;
@end

namespace {

// The controller's surface: forwards each call to the view that owns both.
class ViewSurface final : public veneerview::WindowSurface {
 public:
  explicit ViewSurface(VeneerWindowView* view) : view_(view) {}

  // [main thread]
  bool EmbedProductView(AudioUnit inner, const veneerview::CocoaViewOffer& offer) override {
    return [view_ embedProductViewOf:inner
                          bundlePath:StringOf(offer.bundlePath)
                        factoryClass:StringOf(offer.factoryClass)] == YES;
  }
  // [main thread]
  void EmbedGenericView(AudioUnit inner) override { [view_ embedGenericViewOf:inner]; }
  // [main thread]
  void RemoveEmbedded() override { [view_ removeEmbedded]; }
  // [main thread]
  void ShowStatus(const std::string& text, bool wholeWindow) override {
    [view_ showStatus:StringOf(text) wholeWindow:wholeWindow ? YES : NO];
  }

 private:
  // Unretained: the view owns this, and its dealloc still calls through it.
  __unsafe_unretained VeneerWindowView* view_;
};

}  // namespace

@implementation VeneerWindowView {
  NSSize _editorSize;   // asked of a product's editor
  NSTextField* _strip;  // the status line, or the whole window's text
  NSView* _holder;      // the editor's container, below the strip; nil when none
  NSView* _editor;      // the inner unit's editor, inside _holder
  BOOL _statusTakesWindow;
  BOOL _closing;  // in dealloc: no more sizing
  NSTimer* _timer;
  std::unique_ptr<ViewSurface> _surface;
  // Declared last, reset first: its teardown calls the surface.
  std::unique_ptr<veneerview::WindowController> _controller;
}

- (instancetype)initWithVeneer:(AudioUnit)veneer hostSize:(NSSize)hostSize {
  self = [super initWithFrame:NSMakeRect(0, 0, kStatusWidth, kStatusHeight)];
  if (self == nil) {
    return nil;
  }
  const bool usable = hostSize.width >= 100 && hostSize.height >= kStripHeight + 100;
  _editorSize =
      usable ? NSMakeSize(hostSize.width, hostSize.height - kStripHeight) : NSMakeSize(kEditorWidth, kEditorHeight);
  _statusTakesWindow = YES;
  _strip = [NSTextField labelWithString:@""];
  _strip.identifier = kStripIdentifier;
  [self addSubview:_strip];
  _surface = std::make_unique<ViewSurface>(self);
  try {
    _controller = std::make_unique<veneerview::WindowController>(veneer, *_surface);
  } catch (...) {
    [self showStatus:@"Veneer's window could not start." wholeWindow:YES];
  }
  [self fitContent];
  return self;
}

- (void)dealloc {
  [_timer invalidate];
  _closing = YES;
  _controller.reset();  // lets go of the editor before the listeners
  _surface.reset();
  [[NSNotificationCenter defaultCenter] removeObserver:self];
}

- (BOOL)isFlipped {
  return YES;  // the strip is laid out from the top
}

// ---- refreshing while in a window ----

- (void)viewDidMoveToWindow {
  [super viewDidMoveToWindow];
  if (self.window == nil) {
    [_timer invalidate];
    _timer = nil;
    return;
  }
  if (_timer != nil || !_controller) {
    return;
  }
  // Weak: the run loop holds the timer, and the timer must not hold the view.
  __weak VeneerWindowView* weakSelf = self;
  _timer = [NSTimer timerWithTimeInterval:kRefreshInterval
                                  repeats:YES
                                    block:^(NSTimer* timer) {
                                      VeneerWindowView* view = weakSelf;
                                      if (view == nil) {
                                        [timer invalidate];
                                        return;
                                      }
                                      [view refresh];
                                    }];
  _timer.tolerance = kRefreshInterval / 4;
  // Common modes: it keeps going while the user drags a control or holds a menu open.
  [[NSRunLoop mainRunLoop] addTimer:_timer forMode:NSRunLoopCommonModes];
  [self refresh];
}

// [main thread]
- (void)refresh {
  try {
    _controller->Refresh();
  } catch (...) {
    // The window keeps what it shows; the next tick looks again.
  }
}

// ---- the surface ----

- (BOOL)embedProductViewOf:(AudioUnit)inner bundlePath:(NSString*)bundlePath factoryClass:(NSString*)factoryClass {
  NSView* editor = nil;
  // Drained here, so that nothing the product's code autoreleased keeps its
  // editor alive after it is removed.
  @autoreleasepool {
    editor = VeneerProductEditor(inner, bundlePath, factoryClass, _editorSize);
  }
  if (editor == nil) {
    return NO;
  }
  [self embed:editor identifier:kProductIdentifier];
  return YES;
}

- (void)embedGenericViewOf:(AudioUnit)inner {
  NSView* editor = nil;
  @autoreleasepool {
    editor = VeneerGenericEditor(inner);
  }
  if (editor != nil) {
    [self embed:editor identifier:kGenericIdentifier];
  }
}

// [main thread]
- (void)embed:(NSView*)editor identifier:(NSString*)identifier {
  [self removeEmbedded];
  if (NSWidth(editor.frame) <= 0 || NSHeight(editor.frame) <= 0) {
    // An editor laid out by constraints may come without a size.
    const NSSize fitting = editor.fittingSize;
    [editor setFrameSize:fitting.width > 0 && fitting.height > 0 ? fitting : _editorSize];
  }
  // The holder never resizes the editor: it takes the editor's size instead.
  NSView* holder =
      [[NSView alloc] initWithFrame:NSMakeRect(0, kStripHeight, NSWidth(editor.frame), NSHeight(editor.frame))];
  holder.identifier = identifier;
  holder.autoresizesSubviews = NO;
  [editor setFrameOrigin:NSZeroPoint];
  [holder addSubview:editor];
  [self addSubview:holder];
  _holder = holder;
  _editor = editor;
  editor.postsFrameChangedNotifications = YES;
  [[NSNotificationCenter defaultCenter] addObserver:self
                                           selector:@selector(editorFrameChanged:)
                                               name:NSViewFrameDidChangeNotification
                                             object:editor];
  _statusTakesWindow = NO;
  [self fitContent];
}

- (void)removeEmbedded {
  if (_editor == nil && _holder == nil) {
    return;
  }
  // The editor must be gone when this returns: its unit is disposed next.
  @autoreleasepool {
    [[NSNotificationCenter defaultCenter] removeObserver:self name:NSViewFrameDidChangeNotification object:_editor];
    [_editor removeFromSuperview];
    [_holder removeFromSuperview];
    _editor = nil;
    _holder = nil;
  }
  if (!_closing) {
    [self fitContent];
  }
}

- (void)showStatus:(NSString*)text wholeWindow:(BOOL)wholeWindow {
  const BOOL changed = ![_strip.stringValue isEqualToString:text] || wholeWindow != _statusTakesWindow;
  _statusTakesWindow = wholeWindow;
  if (!changed) {
    return;
  }
  _strip.stringValue = text;
  _strip.toolTip = text;  // the whole line, when the strip cuts it short
  [self fitContent];
}

// ---- size and layout ----

// [main thread]
- (void)editorFrameChanged:(NSNotification*)notification {
  if (notification.object == _editor && !_closing) {
    [self fitContent];
  }
}

// [main thread] Whether the status fills the window, wrapped, rather than one line.
- (BOOL)statusFillsWindow {
  return _statusTakesWindow || _editor == nil;
}

// [main thread] Takes the editor's size (the strip above it), or the status size.
- (void)fitContent {
  NSSize size = NSMakeSize(kStatusWidth, kStatusHeight);
  if (![self statusFillsWindow]) {
    const NSSize editor = _editor.frame.size;
    size = NSMakeSize(std::max(editor.width, kMinimumWidth), kStripHeight + editor.height);
    [_holder setFrameSize:editor];
  }
  if (!NSEqualSizes(self.frame.size, size)) {
    [self setFrameSize:size];
  }
  [self layOut];
}

// [main thread] The host resized the window.
- (void)resizeSubviewsWithOldSize:(NSSize)oldSize {
  (void)oldSize;
  [self layOut];
}

// [main thread]
- (void)layOut {
  const NSRect bounds = self.bounds;
  const BOOL fills = [self statusFillsWindow];
  _strip.usesSingleLineMode = !fills;
  _strip.cell.wraps = fills;
  _strip.lineBreakMode = fills ? NSLineBreakByWordWrapping : NSLineBreakByTruncatingTail;
  _strip.maximumNumberOfLines = fills ? 0 : 1;
  _strip.frame = fills ? NSInsetRect(bounds, kMargin * 2, kMargin * 2)
                       : NSMakeRect(kMargin, 4, NSWidth(bounds) - kMargin * 2, kStripHeight - 8);
  _holder.hidden = fills;
  [_holder setFrameOrigin:NSMakePoint(0, kStripHeight)];
}

@end
