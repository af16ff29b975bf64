<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN" sourcelanguage="en">
<context>
    <name>AboutDialog</name>
    <message>
        <source>About</source>
        <translation>关于</translation>
    </message>
    <message>
        <source>&lt;p&gt;&lt;b&gt;Bivista&lt;/b&gt; multiple cameras demo application.&lt;/p&gt;&lt;p&gt;2026&lt;/p&gt;&lt;p&gt;The Bivista team&lt;/p&gt;</source>
        <translation>&lt;p&gt;&lt;b&gt;Bivista&lt;/b&gt; 多相机演示程序。&lt;/p&gt;&lt;p&gt;2026&lt;/p&gt;&lt;p&gt;Bivista 团队&lt;/p&gt;</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>关闭</translation>
    </message>
    <message>
        <source>version %1</source>
        <translation>版本 %1</translation>
    </message>
    <message>
        <source>Log</source>
        <translation>日志</translation>
    </message>
</context>
<context>
    <name>CalibrateDialog</name>
    <message>
        <source>CalibrateDialog</source>
        <translation>网格校准</translation>
    </message>
    <message>
        <source>Set grid count.</source>
        <translation>设置网格数。</translation>
    </message>
    <message>
        <source>Camera 0</source>
        <translation>相机 0</translation>
    </message>
    <message>
        <source>Camera 1</source>
        <translation>相机 1</translation>
    </message>
    <message>
        <source>Camera 2</source>
        <translation>相机 2</translation>
    </message>
    <message>
        <source>Camera 3</source>
        <translation>相机 3</translation>
    </message>
    <message>
        <source>X Grid Count</source>
        <translation>X 向网格数</translation>
    </message>
    <message>
        <source>Y Grid Count</source>
        <translation>Y 向网格数</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>确定</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>取消</translation>
    </message>
</context>
<context>
    <name>InteractiveScene</name>
    <message>
        <source>Warning</source>
        <translation>警告</translation>
    </message>
    <message>
        <source>Please finish the current action first.</source>
        <translation>请先完成当前操作。</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>Bivista</source>
        <translation>Bivista</translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation>文件(&amp;F)</translation>
    </message>
    <message>
        <source>&amp;View</source>
        <translation>视图(&amp;V)</translation>
    </message>
    <message>
        <source>&amp;Tools</source>
        <translation>工具(&amp;T)</translation>
    </message>
    <message>
        <source>Calibrate</source>
        <translation>校准</translation>
    </message>
    <message>
        <source>&amp;Language</source>
        <translation>语言(&amp;L)</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>帮助(&amp;H)</translation>
    </message>
    <message>
        <source>toolBar</source>
        <translation>工具栏</translation>
    </message>
    <message>
        <source>&amp;Play</source>
        <translation>播放(&amp;P)</translation>
    </message>
    <message>
        <source>Play</source>
        <translation>播放</translation>
    </message>
    <message>
        <source>Pa&amp;use</source>
        <translation>暂停(&amp;U)</translation>
    </message>
    <message>
        <source>Pause</source>
        <translation>暂停</translation>
    </message>
    <message>
        <source>&amp;Save</source>
        <translation>保存(&amp;S)</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>保存</translation>
    </message>
    <message>
        <source>Exit</source>
        <translation>退出</translation>
    </message>
    <message>
        <source>Zoom In</source>
        <translation>放大</translation>
    </message>
    <message>
        <source>Zoom Out</source>
        <translation>缩小</translation>
    </message>
    <message>
        <source>Reset</source>
        <translation>实际大小</translation>
    </message>
    <message>
        <source>&amp;Setting</source>
        <translation>设置(&amp;S)</translation>
    </message>
    <message>
        <source>Setting</source>
        <translation>设置</translation>
    </message>
    <message>
        <source>English&lt;-&gt;Chinese</source>
        <translation>English&lt;-&gt;中文</translation>
    </message>
    <message>
        <source>About </source>
        <translation>关于 </translation>
    </message>
    <message>
        <source>IO Control</source>
        <translation>I/O 控制</translation>
    </message>
    <message>
        <source>Zoom Fit</source>
        <translation>适应窗口</translation>
    </message>
    <message>
        <source>Rearrange</source>
        <translation>重新排列</translation>
    </message>
    <message>
        <source>LOGO</source>
        <translation>LOGO</translation>
    </message>
    <message>
        <source>Trigger</source>
        <translation>触发</translation>
    </message>
    <message>
        <source>Save Single</source>
        <translation>保存单幅图像</translation>
    </message>
    <message>
        <source>Tilt</source>
        <translation>标记角点</translation>
    </message>
    <message>
        <source>Clear</source>
        <translation>清除</translation>
    </message>
    <message>
        <source>Execute</source>
        <translation>执行校准</translation>
    </message>
    <message>
        <source>Enable</source>
        <translation>启用校正</translation>
    </message>
    <message>
        <source>Save Corner</source>
        <translation>保存角点</translation>
    </message>
    <message>
        <source>Load Corner</source>
        <translation>载入角点</translation>
    </message>
    <message>
        <source>Barcode</source>
        <translation>条码</translation>
    </message>
    <message>
        <source>Date Time</source>
        <translation>日期时间</translation>
    </message>
    <message>
        <source>Full screen</source>
        <translation>全屏</translation>
    </message>
    <message>
        <source>Exit full screen</source>
        <translation>退出全屏</translation>
    </message>
    <message>
        <source>Freeze</source>
        <translation>冻结</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>错误</translation>
    </message>
    <message>
        <source>Register hotkey save img failed</source>
        <translation>注册保存图像热键失败</translation>
    </message>
    <message>
        <source>Set sn correctly first. Camera/Cam&lt;i&gt;</source>
        <translation>请先正确设置序列号。Camera/Cam&lt;i&gt;</translation>
    </message>
    <message>
        <source>Serial port %1 open failed.</source>
        <translation>串口 %1 打开失败。</translation>
    </message>
    <message>
        <source>%1 WM_USERDEFMSG received.</source>
        <translation>已收到 WM_USERDEFMSG %1。</translation>
    </message>
    <message>
        <source>#%1: %2 %3 Total:%4</source>
        <translation>#%1: %2 %3 共 %4 个</translation>
    </message>
    <message>
        <source>No image</source>
        <translation>无图像</translation>
    </message>
    <message>
        <source>notice</source>
        <translation>提示</translation>
    </message>
    <message>
        <source>Please select valid path!</source>
        <translation>请选择有效路径！</translation>
    </message>
    <message>
        <source>Saved image </source>
        <translation>已保存图像 </translation>
    </message>
    <message>
        <source>Restart</source>
        <translation>重新启动</translation>
    </message>
    <message>
        <source>Restart to continue.</source>
        <translation>请重新启动程序以继续。</translation>
    </message>
    <message>
        <source>Override?</source>
        <translation>是否覆盖？</translation>
    </message>
    <message>
        <source>No marks in the curvas, do you still want to save?</source>
        <translation>画面上没有标记，仍要保存吗？</translation>
    </message>
    <message>
        <source>Info</source>
        <translation>提示</translation>
    </message>
    <message>
        <source>Please mark 4 corners for each camera first.</source>
        <translation>请先为每个相机标记四个角点。</translation>
    </message>
</context>
<context>
    <name>MeasureBar</name>
    <message>
        <source>Measure</source>
        <translation>测量</translation>
    </message>
    <message>
        <source>Line</source>
        <translation>直线</translation>
    </message>
    <message>
        <source>Length: click both ends, or drag from one to the other.</source>
        <translation>长度：单击两个端点，或从一端拖到另一端。</translation>
    </message>
    <message>
        <source>Circle</source>
        <translation>圆</translation>
    </message>
    <message>
        <source>Centre and radius: click three points of its edge.</source>
        <translation>圆心和半径：单击圆周上的三个点。</translation>
    </message>
    <message>
        <source>Arc</source>
        <translation>角度</translation>
    </message>
    <message>
        <source>Angle: click its vertex, then a point on each of its arms.</source>
        <translation>角度：单击顶点，再在两条边上各单击一点。</translation>
    </message>
    <message>
        <source>Rectangle</source>
        <translation>矩形</translation>
    </message>
    <message>
        <source>Width and height: click two opposite corners, or drag from one to the other.</source>
        <translation>宽和高：单击两个对角，或从一角拖到另一角。</translation>
    </message>
    <message>
        <source>Ellipse</source>
        <translation>椭圆</translation>
    </message>
    <message>
        <source>Click two opposite corners of the box around it, or drag from one to the other.</source>
        <translation>单击外接矩形的两个对角，或从一角拖到另一角。</translation>
    </message>
    <message>
        <source>Polygon</source>
        <translation>多边形</translation>
    </message>
    <message>
        <source>Area: click the corners, at most 50; a right click or a double click closes it.</source>
        <translation>面积：依次单击各顶点（最多 50 个），右键单击或双击即可闭合。</translation>
    </message>
    <message>
        <source>Horizontal line</source>
        <translation>水平线</translation>
    </message>
    <message>
        <source>A line across the whole picture: click its height.</source>
        <translation>横贯整个画面的线：单击其高度。</translation>
    </message>
    <message>
        <source>Vertical line</source>
        <translation>垂直线</translation>
    </message>
    <message>
        <source>A line down the whole picture: click its place.</source>
        <translation>纵贯整个画面的线：单击其位置。</translation>
    </message>
    <message>
        <source>Select</source>
        <translation>选择</translation>
    </message>
    <message>
        <source>Click a figure, drag it or its handles. Arrow keys move it, or the handle used last, by 1 px, with Shift by 0.1 px.</source>
        <translation>单击图形，拖动图形或其控制点。方向键将图形或最后使用的控制点移动 1 像素，按住 Shift 移动 0.1 像素。</translation>
    </message>
    <message>
        <source>Ctrl snaps to corners and edges.</source>
        <translation>按住 Ctrl 吸附到角点和边缘。</translation>
    </message>
    <message>
        <source>A right click gives up what is begun.</source>
        <translation>右键单击放弃当前图形。</translation>
    </message>
    <message>
        <source>Ctrl snaps to corners and edges.</source>
        <translation>按住 Ctrl 吸附到角点和边缘。</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>删除</translation>
    </message>
    <message>
        <source>Deletes the selected figure, as the Delete key does.</source>
        <translation>删除选中的图形，与 Delete 键相同。</translation>
    </message>
    <message>
        <source>Undo</source>
        <translation>撤销</translation>
    </message>
    <message>
        <source>Redo</source>
        <translation>重做</translation>
    </message>
    <message>
        <source>Copy measures</source>
        <translation>复制测量值</translation>
    </message>
    <message>
        <source>A table of all figures, for a spreadsheet.</source>
        <translation>所有图形的表格，可粘贴到电子表格。</translation>
    </message>
    <message>
        <source>Scale…</source>
        <translation>比例尺…</translation>
    </message>
    <message>
        <source>The size of a grid cell, or the length of the selected line.</source>
        <translation>网格单元的尺寸，或所选直线的长度。</translation>
    </message>
    <message>
        <source>Figures copied: %1</source>
        <translation>已复制图形：%1</translation>
    </message>
    <message>
        <source>This point makes no figure: it lies on another one or in line with them</source>
        <translation>此点无法构成图形：与其他点重合或共线</translation>
    </message>
    <message>
        <source>The polygon is closed: it has 50 corners at most</source>
        <translation>多边形已闭合：最多 50 个顶点</translation>
    </message>
    <message>
        <source>Nothing to snap to</source>
        <translation>没有可吸附的点</translation>
    </message>
</context>
<context>
    <name>ScaleDialog</name>
    <message>
        <source>Scale</source>
        <translation>比例尺</translation>
    </message>
    <message>
        <source>Size of a grid cell</source>
        <translation>网格单元尺寸</translation>
    </message>
    <message>
        <source>X</source>
        <translation>X</translation>
    </message>
    <message>
        <source>Y</source>
        <translation>Y</translation>
    </message>
    <message>
        <source>Length of the selected line</source>
        <translation>所选直线的长度</translation>
    </message>
    <message>
        <source>First select a line in the corrected pictures.</source>
        <translation>请先在校正后的画面中选中一条直线。</translation>
    </message>
    <message>
        <source>Measures are shown in</source>
        <translation>测量值单位</translation>
    </message>
    <message>
        <source>pixels (pix)</source>
        <translation>像素 (pix)</translation>
    </message>
    <message>
        <source>millimetres (mm)</source>
        <translation>毫米 (mm)</translation>
    </message>
    <message>
        <source>micrometres (um)</source>
        <translation>微米 (um)</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>确定</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>取消</translation>
    </message>
    <message>
        <source>One pixel is %1 mm.</source>
        <translation>每像素 %1 mm。</translation>
    </message>
    <message>
        <source>One pixel is %1 mm wide and %2 mm high.</source>
        <translation>每像素宽 %1 mm，高 %2 mm。</translation>
    </message>
    <message>
        <source>Enter a size above 0.</source>
        <translation>请输入大于 0 的尺寸。</translation>
    </message>
    <message>
        <source>Measures are pixels.</source>
        <translation>测量值以像素为单位。</translation>
    </message>
    <message>
        <source>Measures are pixels until the cameras are calibrated.</source>
        <translation>相机校准之前，测量值以像素为单位。</translation>
    </message>
    <message>
        <source>Measures are pixels as long as the correction is off.</source>
        <translation>校正关闭时，测量值以像素为单位。</translation>
    </message>
</context>
<context>
    <name>SettingDialog</name>
    <message>
        <source>Setting</source>
        <translation>设置</translation>
    </message>
    <message>
        <source>Capture</source>
        <translation>采集</translation>
    </message>
    <message>
        <source>Save the captured image</source>
        <translation>保存采集的图像</translation>
    </message>
    <message>
        <source>Sensor</source>
        <translation>传感器</translation>
    </message>
    <message>
        <source>Select Camera</source>
        <translation>选择相机</translation>
    </message>
    <message>
        <source>Image Enhancement</source>
        <translation>图像增强</translation>
    </message>
    <message>
        <source>Gamma</source>
        <translation>伽马</translation>
    </message>
    <message>
        <source>Contrast</source>
        <translation>对比度</translation>
    </message>
    <message>
        <source>Saturation</source>
        <translation>饱和度</translation>
    </message>
    <message>
        <source>Black Level</source>
        <translation>黑电平</translation>
    </message>
    <message>
        <source>Advanced Gain</source>
        <translation>高级增益</translation>
    </message>
    <message>
        <source>Parameter</source>
        <translation>参数</translation>
    </message>
    <message>
        <source>Default</source>
        <translation>默认</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>保存</translation>
    </message>
    <message>
        <source>Frame Control</source>
        <translation>帧控制</translation>
    </message>
    <message>
        <source>Auto Gain</source>
        <translation>自动增益</translation>
    </message>
    <message>
        <source>Auto Exposure</source>
        <translation>自动曝光</translation>
    </message>
    <message>
        <source>Exposure</source>
        <translation>曝光</translation>
    </message>
    <message>
        <source>Exposure Scale</source>
        <translation>曝光倍率</translation>
    </message>
    <message>
        <source>Timeout</source>
        <translation>超时</translation>
    </message>
    <message>
        <source>AE Target</source>
        <translation>自动曝光目标</translation>
    </message>
    <message>
        <source>Flicker Avoidence</source>
        <translation>防闪烁</translation>
    </message>
    <message>
        <source>Mirror X</source>
        <translation>水平镜像</translation>
    </message>
    <message>
        <source>Mirror Y</source>
        <translation>垂直镜像</translation>
    </message>
    <message>
        <source>HighSpeed</source>
        <translation>高速</translation>
    </message>
    <message>
        <source>Delay</source>
        <translation>延时</translation>
    </message>
    <message>
        <source>Enter trigger mode</source>
        <translation>进入触发模式</translation>
    </message>
    <message>
        <source>Path</source>
        <translation>路径</translation>
    </message>
    <message>
        <source>Browse...</source>
        <translation>浏览...</translation>
    </message>
    <message>
        <source>Quality</source>
        <translation>质量</translation>
    </message>
    <message>
        <source>Delay </source>
        <translation>延时 </translation>
    </message>
    <message>
        <source>ms to save</source>
        <translation>毫秒后保存</translation>
    </message>
    <message>
        <source>File Format</source>
        <translation>文件格式</translation>
    </message>
    <message>
        <source>BMP</source>
        <translation>BMP</translation>
    </message>
    <message>
        <source>JPG</source>
        <translation>JPG</translation>
    </message>
    <message>
        <source>PNG</source>
        <translation>PNG</translation>
    </message>
    <message>
        <source>Port</source>
        <translation>串口</translation>
    </message>
    <message>
        <source>Overlay</source>
        <translation>叠加</translation>
    </message>
    <message>
        <source>Date time format</source>
        <translation>日期时间格式</translation>
    </message>
    <message>
        <source>Open Directory</source>
        <translation>打开目录</translation>
    </message>
</context>
<context>
    <name>MeasureTools</name>
    <message>
        <source>corner</source>
        <translation>角点</translation>
    </message>
    <message>
        <source>edge</source>
        <translation>边缘</translation>
    </message>
    <message>
        <source>nothing to snap to</source>
        <translation>没有可吸附的点</translation>
    </message>
    <message>
        <source>Draw</source>
        <translation>绘制</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>删除</translation>
    </message>
    <message>
        <source>Change</source>
        <translation>修改</translation>
    </message>
</context>
</TS>
