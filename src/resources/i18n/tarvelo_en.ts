<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US" sourcelanguage="zh_CN">
<context>
    <name>MainWindow</name>
    <message>
        <source>Tarvelo v%1 (%2)</source>
        <translation>Tarvelo v%1 (%2)</translation>
    </message>
    <message>
        <source>版本 v%1 · %2</source>
        <translation>Version v%1 · %2</translation>
    </message>
    <message>
        <source>曝光与色彩</source>
        <translation>Exposure &amp; color</translation>
    </message>
    <message>
        <source>对焦与变焦</source>
        <translation>Focus &amp; zoom</translation>
    </message>
    <message>
        <source>参数设置</source>
        <translation>Controls</translation>
    </message>
    <message>
        <source>拍摄与画面</source>
        <translation>Capture &amp; Image</translation>
    </message>
    <message>
        <source>正在查找摄像头…</source>
        <translation>Looking for cameras…</translation>
    </message>
    <message>
        <source>Tarvelo</source>
        <translation>Tarvelo</translation>
    </message>
    <message>
        <source>专业 USB 摄像头预览与参数控制</source>
        <translation>USB camera preview and professional controls</translation>
    </message>
    <message>
        <source>选择界面语言（重启后生效）</source>
        <translation>Choose display language (applies after restart)</translation>
    </message>
    <message>
        <source>●  正在连接</source>
        <translation>●  Connecting</translation>
    </message>
    <message>
        <source>摄像头</source>
        <translation>Camera</translation>
    </message>
    <message>
        <source>设备</source>
        <translation>Device</translation>
    </message>
    <message>
        <source>画质</source>
        <translation>Format</translation>
    </message>
    <message>
        <source>分辨率与帧率</source>
        <translation>Resolution and Frame Rate</translation>
    </message>
    <message>
        <source>刷新设备</source>
        <translation>Refresh Devices</translation>
    </message>
    <message>
        <source>启动预览</source>
        <translation>Start Preview</translation>
    </message>
    <message>
        <source>选择摄像头后读取硬件参数</source>
        <translation>Select a camera to load its hardware controls</translation>
    </message>
    <message>
        <source>变焦</source>
        <translation>Zoom</translation>
    </message>
    <message>
        <source>镜头控制</source>
        <translation>Lens controls</translation>
    </message>
    <message>
        <source>保存参数</source>
        <translation>Save Controls</translation>
    </message>
    <message>
        <source>保存当前摄像头的参数</source>
        <translation>Save the current camera controls</translation>
    </message>
    <message>
        <source>应用之前保存的参数</source>
        <translation>Apply previously saved controls</translation>
    </message>
    <message>
        <source>应用参数</source>
        <translation>Apply Controls</translation>
    </message>
    <message>
        <source>恢复初始设置</source>
        <translation>Restore Initial Settings</translation>
    </message>
    <message>
        <source>恢复本次打开摄像头时的参数和自动模式</source>
        <translation>Restore the values and automatic modes from when this camera was opened</translation>
    </message>
    <message>
        <source>截图与录像</source>
        <translation>Photo &amp; video</translation>
    </message>
    <message>
        <source>开始录像</source>
        <translation>Start Recording</translation>
    </message>
    <message>
        <source>截图</source>
        <translation>Take Snapshot</translation>
    </message>
    <message>
        <source>未在录像</source>
        <translation>Not recording</translation>
    </message>
    <message>
        <source>图片文件夹</source>
        <translation>Pictures Folder</translation>
    </message>
    <message>
        <source>视频文件夹</source>
        <translation>Videos Folder</translation>
    </message>
    <message>
        <source>保存软件、系统和摄像头状态，便于排查问题</source>
        <translation>Save app, system, and camera details for troubleshooting</translation>
    </message>
    <message>
        <source>导出诊断信息</source>
        <translation>Export Diagnostics</translation>
    </message>
    <message>
        <source>画面方向</source>
        <translation>Orientation</translation>
    </message>
    <message>
        <source>左右镜像</source>
        <translation>Mirror Horizontally</translation>
    </message>
    <message>
        <source>上下翻转</source>
        <translation>Flip Vertically</translation>
    </message>
    <message>
        <source>画面旋转</source>
        <translation>Image Rotation</translation>
    </message>
    <message>
        <source>不旋转</source>
        <translation>No Rotation</translation>
    </message>
    <message>
        <source>顺时针 90°</source>
        <translation>90° Clockwise</translation>
    </message>
    <message>
        <source>旋转 180°</source>
        <translation>Rotate 180°</translation>
    </message>
    <message>
        <source>顺时针 270°</source>
        <translation>270° Clockwise</translation>
    </message>
    <message>
        <source>全屏预览</source>
        <translation>Full screen</translation>
    </message>
    <message>
        <source>收起面板</source>
        <translation>Hide controls</translation>
    </message>
    <message>
        <source>跟随系统</source>
        <translation>System Default</translation>
    </message>
    <message>
        <source>简体中文</source>
        <translation>Simplified Chinese</translation>
    </message>
    <message>
        <source>基础参数</source>
        <translation>Basic Controls</translation>
    </message>
    <message>
        <source>已选择：%1</source>
        <translation>Selected: %1</translation>
    </message>
    <message>
        <source>摄像头参数</source>
        <translation>Camera Controls</translation>
    </message>
    <message>
        <source>摄像头已启动，但尚未收到画面。请使用“自动（推荐）”格式。</source>
        <translation>The camera started but no video was received. Try the Auto (Recommended) format.</translation>
    </message>
    <message>
        <source>界面语言将在重新启动软件后生效。</source>
        <translation>The display language will change after you restart the app.</translation>
    </message>
    <message>
        <source>语言设置</source>
        <translation>Language</translation>
    </message>
    <message>
        <source>●  未连接</source>
        <translation>●  Disconnected</translation>
    </message>
    <message>
        <source>正在请求摄像头权限…</source>
        <translation>Requesting camera permission…</translation>
    </message>
    <message>
        <source>摄像头权限已被拒绝。请在系统设置的“隐私与安全性 → 摄像头”中允许本软件。</source>
        <translation>Camera access was denied. Allow this app under System Settings → Privacy &amp; Security → Camera.</translation>
    </message>
    <message>
        <source>未获得摄像头权限，请允许访问后重新启动软件。</source>
        <translation>Camera access was not granted. Allow access, then restart the app.</translation>
    </message>
    <message>
        <source>摄像头权限已允许，正在查找设备…</source>
        <translation>Camera access granted. Looking for devices…</translation>
    </message>
    <message>
        <source>未检测到摄像头，请连接 USB 摄像头后刷新。</source>
        <translation>No camera detected. Connect a USB camera, then refresh.</translation>
    </message>
    <message>
        <source>●  正在启动</source>
        <translation>●  Starting</translation>
    </message>
    <message>
        <source>●  已停止</source>
        <translation>●  Stopped</translation>
    </message>
    <message>
        <source>●  摄像头错误</source>
        <translation>●  Camera Error</translation>
    </message>
    <message>
        <source>●  预览正常</source>
        <translation>●  Preview Ready</translation>
    </message>
    <message>
        <source>停止预览</source>
        <translation>Stop Preview</translation>
    </message>
    <message>
        <source>摄像头正在运行</source>
        <translation>Camera is running</translation>
    </message>
    <message>
        <source>摄像头已停止</source>
        <translation>Camera stopped</translation>
    </message>
    <message>
        <source>摄像头错误：%1</source>
        <translation>Camera error: %1</translation>
    </message>
    <message>
        <source>预览正常：%1 × %2</source>
        <translation>Preview ready: %1 × %2</translation>
    </message>
    <message>
        <source>画面已恢复：%1 × %2</source>
        <translation>Picture restored: %1 × %2</translation>
    </message>
    <message>
        <source>画面中断，正在重新建立摄像头连接（%1/2）…</source>
        <translation>The picture stopped. Reconnecting the camera (%1/2)…</translation>
    </message>
    <message>
        <source>自动（推荐）</source>
        <translation>Auto (Recommended)</translation>
    </message>
    <message>
        <source>当前格式没有收到画面，请改回“自动（推荐）”。</source>
        <translation>No video was received with this format. Switch back to Auto (Recommended).</translation>
    </message>
    <message>
        <source>●  设备变化</source>
        <translation>●  Device Changed</translation>
    </message>
    <message>
        <source>检测到摄像头变化，正在重新连接…</source>
        <translation>Camera change detected. Reconnecting…</translation>
    </message>
    <message>
        <source>退出全屏 (Esc)</source>
        <translation>Exit full screen (Esc)</translation>
    </message>
    <message>
        <source>展开面板</source>
        <translation>Show controls</translation>
    </message>
    <message>
        <source>亮度</source>
        <translation>Brightness</translation>
    </message>
    <message>
        <source>对比度</source>
        <translation>Contrast</translation>
    </message>
    <message>
        <source>色相</source>
        <translation>Hue</translation>
    </message>
    <message>
        <source>饱和度</source>
        <translation>Saturation</translation>
    </message>
    <message>
        <source>锐度</source>
        <translation>Sharpness</translation>
    </message>
    <message>
        <source>白平衡</source>
        <translation>White Balance</translation>
    </message>
    <message>
        <source>背光补偿</source>
        <translation>Backlight Compensation</translation>
    </message>
    <message>
        <source>增益</source>
        <translation>Gain</translation>
    </message>
    <message>
        <source>曝光</source>
        <translation>Exposure</translation>
    </message>
    <message>
        <source>对焦</source>
        <translation>Focus</translation>
    </message>
    <message>
        <source>自动</source>
        <translation>Auto</translation>
    </message>
    <message>
        <source>色彩与曝光</source>
        <translation>Color &amp; exposure</translation>
    </message>
    <message>
        <source>自动调节中，关闭自动后可手动修改</source>
        <translation>Adjusting automatically. Turn off Auto to adjust manually.</translation>
    </message>
    <message>
        <source>范围：%1 ～ %2，初始值：%3</source>
        <translation>Range: %1 to %2; initial value: %3</translation>
    </message>
    <message>
        <source>仅显示此摄像头支持的镜头参数。</source>
        <translation>Only lens controls supported by this camera are shown.</translation>
    </message>
    <message>
        <source>已识别 %1 项可调参数，仅显示当前摄像头支持的项目。</source>
        <translation>%1 adjustable controls detected. Only controls supported by this camera are shown.</translation>
    </message>
    <message>
        <source>%1设置失败，摄像头未接受该数值</source>
        <translation>Could not set %1. The camera rejected this value.</translation>
    </message>
    <message>
        <source>%1的自动模式切换失败</source>
        <translation>Could not change the Auto mode for %1.</translation>
    </message>
    <message>
        <source>保存失败：无法写入本机设置</source>
        <translation>Save failed: the local settings could not be written.</translation>
    </message>
    <message>
        <source>保存成功：已保存“%1”的 %2 项参数</source>
        <translation>Saved %2 controls for “%1”.</translation>
    </message>
    <message>
        <source>当前摄像头还没有已保存的设置</source>
        <translation>No saved controls exist for this camera.</translation>
    </message>
    <message>
        <source>应用成功：已更新 %1 项参数</source>
        <translation>Applied %1 controls successfully.</translation>
    </message>
    <message>
        <source>部分参数未应用：%1（成功 %2 项）</source>
        <translation>Some controls could not be applied: %1 (%2 succeeded).</translation>
    </message>
    <message>
        <source>恢复成功：已恢复 %1 项初始设置</source>
        <translation>Restored %1 initial camera settings</translation>
    </message>
    <message>
        <source>部分参数未恢复：%1（成功 %2 项）</source>
        <translation>Some controls could not be restored: %1 (%2 succeeded).</translation>
    </message>
    <message>
        <source>曝光补偿</source>
        <translation>Exposure Compensation</translation>
    </message>
    <message>
        <source>图片</source>
        <translation>pictures</translation>
    </message>
    <message>
        <source>视频</source>
        <translation>videos</translation>
    </message>
    <message>
        <source>无法创建%1保存目录</source>
        <translation>Could not create the %1 folder.</translation>
    </message>
    <message>
        <source>已打开%1保存目录</source>
        <translation>Opened the %1 folder.</translation>
    </message>
    <message>
        <source>无法打开%1保存目录</source>
        <translation>Could not open the %1 folder.</translation>
    </message>
    <message>
        <source>截图失败：当前还没有可用画面</source>
        <translation>Snapshot failed: no video frame is available.</translation>
    </message>
    <message>
        <source>截图失败：无法创建图片保存目录</source>
        <translation>Snapshot failed: the pictures folder could not be created.</translation>
    </message>
    <message>
        <source>截图已保存：%1</source>
        <translation>Snapshot saved: %1</translation>
    </message>
    <message>
        <source>截图失败：无法写入文件</source>
        <translation>Snapshot failed: the file could not be written.</translation>
    </message>
    <message>
        <source>停止录像</source>
        <translation>Stop Recording</translation>
    </message>
    <message>
        <source>● 正在录像 %1</source>
        <translation>● Recording %1</translation>
    </message>
    <message>
        <source>正在录像…</source>
        <translation>Recording…</translation>
    </message>
    <message>
        <source>录像已保存：%1</source>
        <translation>Recording saved: %1</translation>
    </message>
    <message>
        <source>录像失败：未选择摄像头</source>
        <translation>Recording failed: no camera is selected.</translation>
    </message>
    <message>
        <source>录像失败：无法创建视频保存目录</source>
        <translation>Recording failed: the videos folder could not be created.</translation>
    </message>
    <message>
        <source>录像错误：%1</source>
        <translation>Recording error: %1</translation>
    </message>
    <message>
        <source>视频保存目录不可写入</source>
        <translation>the videos folder cannot be written to</translation>
    </message>
    <message>
        <source>没有录下可播放的画面</source>
        <translation>nothing playable was recorded</translation>
    </message>
    <message>
        <source>%1，已保存出错前录下的部分：%2</source>
        <translation>%1; what was recorded before is saved: %2</translation>
    </message>
    <message>
        <source>摄像头重新连接，录像已结束并保存：%1</source>
        <translation>Reconnecting the camera ended the recording; saved: %1</translation>
    </message>
    <message>
        <source>视频保存目录在录像时被删除</source>
        <translation>the videos folder was removed during the recording</translation>
    </message>
    <message>
        <source>磁盘空间已满</source>
        <translation>the disk is full</translation>
    </message>
    <message>
        <source>录像意外中断</source>
        <translation>the recording stopped unexpectedly</translation>
    </message>
    <message>
        <source>文本文件 (*.txt)</source>
        <translation>Text Files (*.txt)</translation>
    </message>
    <message>
        <source>诊断信息导出失败：无法写入文件</source>
        <translation>Diagnostics export failed: the file could not be opened for writing.</translation>
    </message>
    <message>
        <source>诊断信息导出失败：文件写入不完整</source>
        <translation>Diagnostics export failed: the file was not written completely.</translation>
    </message>
    <message>
        <source>诊断信息已保存：%1</source>
        <translation>Diagnostics saved: %1</translation>
    </message>
    <message>
        <source>无法打开 V4L2 视频设备目录</source>
        <translation>Could not open the V4L2 video device directory.</translation>
    </message>
    <message>
        <source>系统没有返回 V4L2 视频输入设备</source>
        <translation>The system returned no V4L2 video input devices.</translation>
    </message>
    <message>
        <source>未找到与“%1”匹配的 V4L2 设备</source>
        <translation>No V4L2 device matching “%1” was found.</translation>
    </message>
    <message>
        <source>摄像头没有公开标准 UVC 控制参数</source>
        <translation>The camera does not expose standard UVC controls.</translation>
    </message>
    <message>
        <source>水平转动</source>
        <translation>Pan</translation>
    </message>
    <message>
        <source>垂直转动</source>
        <translation>Tilt</translation>
    </message>
    <message>
        <source>旋转</source>
        <translation>Roll</translation>
    </message>
    <message>
        <source>光圈</source>
        <translation>Iris</translation>
    </message>
    <message>
        <source>防闪烁</source>
        <translation>Anti-flicker</translation>
    </message>
    <message>
        <source>关闭</source>
        <translation>Off</translation>
    </message>
    <message>
        <source>恢复出厂默认</source>
        <translation>Camera Defaults</translation>
    </message>
    <message>
        <source>把每项参数设为摄像头自身的默认值</source>
        <translation>Set every control to the camera&apos;s own default</translation>
    </message>
    <message>
        <source>已恢复出厂默认：%1 项参数</source>
        <translation>Camera defaults set for %1 controls.</translation>
    </message>
    <message>
        <source>出厂默认未全部设置：成功 %1 项，被拒绝 %2 项（%3）</source>
        <translation>Camera defaults: %1 set, %2 refused (%3).</translation>
    </message>
</context>
</TS>
