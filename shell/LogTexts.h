// The fixed texts of the debug log (veneer_debug.log). They are fixed to the
// byte because the companion application and support staff search the log for
// them; the Chinese ones are the shipped texts in the language of the people
// who read them, and stay as they are. Numbers and names follow where a line
// takes them; the short separators between such values stay at the call.
#pragma once

namespace veneer::logtext {

// Lifecycle.
inline constexpr char kInitializeCalled[] = " Initialize called -> err=";  // after the thread tag
inline constexpr char kInitializeEnsureFailed[] = "Initialize: EnsureInnerUnit err=";
inline constexpr char kCleanupCalled[] = " Cleanup called";  // after the thread tag
inline constexpr char kLogicRetired[] = "Logic 宿主：内部 Auto-Tune 退役不销毁（留给下次复用）";
inline constexpr char kLogicRetiredAlready[] = "Logic 宿主：已经有一个退役实例了，这个只能放着（不销毁）";
inline constexpr char kDisposeOnMainThread[] = " 内部 Auto-Tune 改到主线程销毁";  // after the thread tag
inline constexpr char kDisposedOnMainThread[] = "[main] 内部 Auto-Tune 已销毁";
inline constexpr char kInnerDisposed[] = "inner unit disposed";

// Discovery.
inline constexpr char kSeveralCopies[] = "同名 AU 组件有 ";            // count
inline constexpr char kSeveralCopiesVersions[] = " 份，版本:";         // the versions
inline constexpr char kSeveralCopiesChosen[] = " → 选用最高版本 ";     // the chosen version
inline constexpr char kForcedVariant[] = "强制使用 Auto-Tune 版本: ";  // name
inline constexpr char kPreferredVariant[] = "按 App 偏好使用 Auto-Tune 版本: ";
inline constexpr char kForcedVariantMissing[] = "强制指定的版本没找到: ";
inline constexpr char kFoundVariant[] = "找到 Auto-Tune 版本: ";
inline constexpr char kNoVariant[] = "CreateInnerUnit FAIL: 没找到支持的 Auto-Tune（Auto-Tune Pro / AutoTune 2026）";

// Creation and configuration of the inner unit.
inline constexpr char kCreateOnMainThread[] = " 内部 Auto-Tune 改到主线程创建（宿主线程不是主线程）";  // after the tag
inline constexpr char kCreatedWithFormat[] = "[main] 内部 Auto-Tune 已创建，宿主格式已传入";
inline constexpr char kCreated[] = "[main] 内部 Auto-Tune 已创建";
inline constexpr char kCreateFailed[] = "[main] 创建内部 Auto-Tune 失败 err=";
inline constexpr char kElapsed[] = "（耗时 ";  // milliseconds, then kElapsedEnd
inline constexpr char kElapsedEnd[] = "ms）";
inline constexpr char kComponentPath[] = "组件路径: ";
inline constexpr char kReusingRetired[] = "复用退役的内部 Auto-Tune 实例: ";
inline constexpr char kCreateFailedInstanceNew[] = "CreateInnerUnit FAIL: InstanceNew err=";
inline constexpr char kCreateFailedInputFormat[] = "CreateInnerUnit FAIL: 输入格式 err=";
inline constexpr char kCreateFailedOutputFormat[] = "CreateInnerUnit FAIL: 输出格式 err=";
inline constexpr char kCreateFailedRenderCallback[] = "CreateInnerUnit FAIL: 渲染回调 err=";
inline constexpr char kCreateFailedMaximumFrames[] = "CreateInnerUnit FAIL: MaximumFramesPerSlice err=";
inline constexpr char kCreateFailedInitialize[] = "CreateInnerUnit FAIL: AudioUnitInitialize err=";
inline constexpr char kCreateFailedAfterInitialize[] = "CreateInnerUnit FAIL: 初始化后配置中断 err=";
inline constexpr char kCreateFailedReleasing[] = "CreateInnerUnit FAIL: 创建失败，释放内部单元 err=";
inline constexpr char kCorrectionModeForced[] = "correction mode forced -> ";
inline constexpr char kScaleCheckUnreadable[] = "⚠️ 自检：读不到调式参数 ";  // parameter id
inline constexpr char kScaleCheckPassed[] = "自检通过：调式参数 ";                         // id, " = ", name
inline constexpr char kScaleCheckMismatch[] = "⚠️ 自检：调式参数名不匹配（期望「";  // expected name
inline constexpr char kScaleCheckMismatchActual[] = "」，实际「";                                      // actual name
inline constexpr char kScaleCheckMismatchEnd[] = "」）——这个版本的 Auto-Tune 可能不认我们的调式";
inline constexpr char kFormatChange[] = " ChangeStreamFormat scope=";  // after the thread tag
inline constexpr char kFormatChangeEnsureFailed[] = "ChangeStreamFormat: EnsureInnerUnit err=";
inline constexpr char kFormatChanged[] = "format changed -> inner updated";

// Audio path and properties.
inline constexpr char kRenderCalled[] = "Render called frames=";
inline constexpr char kRenderStateChange[] = " (state change)";
inline constexpr char kInnerRenderStatus[] = "inner render status=";
inline constexpr char kHostBypassSet[] = "bypass set -> ";                 // "on" or "off"
inline constexpr char kManualChangesSent[] = "顾客手动改的参数已回传:\n";  // then the back file's value lines

// Companion link.
inline constexpr char kHeartbeatLost[] = "app heartbeat lost -> bypass ON";
inline constexpr char kHeartbeatBack[] = "app heartbeat back -> bypass OFF";
inline constexpr char kQuitMarker[] = "app quit marker -> bypass ON";
inline constexpr char kApplied[] = "ipc# ";  // the counter, then the cached values
inline constexpr char kReadBack[] = "readback";
inline constexpr char kRenderDiagnostics[] = "渲染诊断: 次数=";  // count, then the slow and longest renders
inline constexpr char kRenderDiagnosticsSlow[] = " 慢块(>8ms)=";
inline constexpr char kRenderDiagnosticsLongest[] = " 最大=";

// Our own threads and queued work: what reached an entry point instead of the host.
inline constexpr char kExceptionCaught[] = "exception caught in ";  // where, ": ", what

}  // namespace veneer::logtext
