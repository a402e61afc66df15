// The hardware controls panel, the presets and the Qt-level exposure and zoom sliders, over a
// recording NativeCameraControls.
#include "mainwindowtestaccess.h"
#include "panelrows.h"
#include "testmain.h"

#include <QSettings>

#include <cmath>
#include <functional>

namespace {
NativeControl control(int id, bool supportsAutomatic = false, bool automatic = false)
{
    NativeControl c;
    c.id = id, c.name = QString::fromUtf8(findControlDescriptor(id)->name), c.maximum = 100;
    c.initialValue = c.value = 50, c.defaultValue = 40;
    c.supportsAutomatic = supportsAutomatic;
    c.automatic = c.initialAutomatic = c.defaultAutomatic = automatic;
    if (id == PowerLineFrequency)
        c.choices = {PowerLineOff, PowerLine50Hz, PowerLine60Hz},
        c.value = c.initialValue = c.defaultValue = 1;
    return c;
}

// Logs every call and refuses those in `refused` ("value 0 5") or all of a kind ("value 0"). A
// value taken is rounded down to `rounding`, as a driver may.
class RecordingControls final : public NativeCameraControls
{
public:
    QList<NativeControl> list;
    QString error;
    QStringList calls, refused;
    int rounding = 1;

    bool open(const QString &) override { return !list.isEmpty(); }
    QList<NativeControl> controls() const override { return list; }
    QString lastError() const override { return error; }
    bool setValue(int id, int value) override
    {
        NativeControl *c = call(QStringLiteral("value %1 %2").arg(id).arg(value), id);
        return c && (c->value = value / rounding * rounding, c->automatic = false, true);
    }
    bool setAutomatic(int id, bool automatic) override
    {
        NativeControl *c = call(QStringLiteral("auto %1 %2").arg(id).arg(automatic), id);
        return c && (c->automatic = automatic, true);
    }

private:
    NativeControl *call(const QString &text, int id)
    {
        calls.append(text);
        auto c = std::find_if(list.begin(), list.end(), [=](auto &c) { return c.id == id; });
        const bool refuse = refused.contains(text) || refused.contains(text.section(u' ', 0, 1));
        return c != list.end() && !refuse ? &*c : nullptr;
    }
};

// "shown 100..400 at 250, 2.5×": the group, the slider's range and value when enabled, the label.
QString sliderLine(QSlider *slider, QLabel *label)
{
    return (slider->parentWidget()->isHidden() ? "hidden" : "shown")
        + (slider->isEnabled() ? QString::asprintf(" %d..%d at %d", slider->minimum(),
                                                   slider->maximum(), slider->value())
                               : QString())
        + ", " + label->text();
}
} // namespace
Q_DECLARE_METATYPE(ExposureAndZoom)

class TestControlsPanel : public QObject
{
    Q_OBJECT

private slots:
    void init() { TestEnvironment::clearSettings(); }

    void panel()
    {
        QList<NativeControl> all;
        for (const ControlDescriptor &descriptor : controlDescriptors)
            all.append(control(descriptor.id, descriptor.id == Hue)); // hue: offered, manual now
        all[6] = control(WhiteBalance, true, true);
        all[9].automatic = true; // gain: automatic although the device claims no such mode
        all[0].value = 60; // brightness: the tool tip gives the initial value
        all[1].value = 120; // contrast, outside its own range: shown as the camera has it
        show(all);
        QCOMPARE(describe(access.colorExposureLayout()) + describe(access.lensControlsLayout()),
                 QStringList({"已识别 17 项可调参数，仅显示当前摄像头支持的项目。", "亮度 60",
                              "对比度 120", "色相 50 [auto off]", "饱和度 50", "锐度 50",
                              "Gamma 50", "白平衡 50 [auto on] locked hint", "背光补偿 50",
                              "防闪烁 50 Hz", "增益 50 locked hint", "曝光 50",
                              "仅显示此摄像头支持的镜头参数。", "变焦 50", "对焦 50", "水平转动 50",
                              "垂直转动 50", "旋转 50", "光圈 50"}));
        QVERIFY(access.presetButtonsRow()->isEnabled() && access.zoomGroup()->isHidden());
        QCOMPARE(row(Brightness)->findChild<QSpinBox *>()->toolTip(),
                 QStringLiteral("范围：0 ～ 100，初始值：50"));
        QVERIFY(controls->calls.isEmpty()); // building sends nothing

        // Without controls: the backend's reason and no presets.
        show({}, QStringLiteral("未找到与“Cam”匹配的 DirectShow 设备"));
        QCOMPARE(
            describe(access.colorExposureLayout()) + describe(access.lensControlsLayout()),
            QStringList({"未找到与“Cam”匹配的 DirectShow 设备", "仅显示此摄像头支持的镜头参数。"}));
        QVERIFY(!access.presetButtonsRow()->isEnabled());
    }

    // Values go along the step, and the row shows what the camera took.
    void edits()
    {
        NativeControl saturation = control(Saturation, true);
        saturation.step = 5;
        show({saturation, control(PowerLineFrequency)});
        auto *slider = row(Saturation)->findChild<QSlider *>();
        auto *spinBox = row(Saturation)->findChild<QSpinBox *>();
        auto *automatic = row(Saturation)->findChild<QCheckBox *>();
        auto *selector = row(PowerLineFrequency)->findChild<QComboBox *>();
        const auto after = [&](const char *refused, const std::function<void()> &edit) {
            controls->refused = QStringList(QString::fromLatin1(refused));
            access.statusCard()->clear();
            edit();
            return describe(access.colorExposureLayout()).mid(1).join(", ") + " / "
                + access.status();
        };
        QCOMPARE(after("",
                       [&] {
                           slider->setSliderDown(true);
                           for (int position : {52, 55, 56, 61})
                               slider->setSliderPosition(position);
                       }),
                 "饱和度 60 [auto off], 防闪烁 50 Hz / ");
        controls->rounding = 10;
        QCOMPARE(after("", [&] { spinBox->setValue(73); }),
                 "饱和度 70 [auto off], 防闪烁 50 Hz / ");
        QCOMPARE(after("value 3", [&] { spinBox->setValue(80); }),
                 "饱和度 70 [auto off], 防闪烁 50 Hz / 饱和度设置失败，摄像头未接受该数值");
        QCOMPARE(after("auto 3", [&] { automatic->click(); }),
                 "饱和度 70 [auto off], 防闪烁 50 Hz / 饱和度的自动模式切换失败");
        QCOMPARE(after("value 16", [&] { selector->setCurrentIndex(2); }),
                 "饱和度 70 [auto off], 防闪烁 50 Hz / 防闪烁设置失败，摄像头未接受该数值");
        QCOMPARE(after("", [&] { automatic->click(), selector->setCurrentIndex(0); }),
                 "饱和度 70 [auto on] locked hint, 防闪烁 关闭 / ");
        QCOMPARE(controls->calls.join(", "),
                 "value 3 55, value 3 60, value 3 75, value 3 80, "
                 "auto 3 1, value 16 2, auto 3 1, value 16 0");
    }

    // While a camera is being left nothing reaches it, and nothing is stored under its name.
    void lockedWhileLeaving()
    {
        show({control(Brightness), control(Focus, true)});
        access.handleDeviceChange();
        access.deviceChangeTimer().stop();
        QCOMPARE(describe(access.colorExposureLayout()).constLast()
                     + describe(access.lensControlsLayout()).constLast(),
                 "亮度 50 locked对焦 50 [auto off] locked");
        click(QStringLiteral("保存参数"));
        click(QStringLiteral("应用参数"));
        QVERIFY(QSettings().allKeys().isEmpty() && controls->calls.isEmpty());
    }

    void save()
    {
        show({control(Brightness), control(Hue, true), control(Focus, true, true)});
        controls->setValue(Brightness, 60);
        click(QStringLiteral("保存参数"));
        controls->list.removeLast(); // a control no longer listed is not kept from the last save
        click(QStringLiteral("保存参数"));
        QCOMPARE(access.status(), QStringLiteral("保存成功：已保存“Cam”的 2 项参数"));
        QSettings settings;
        settings.beginGroup(QStringLiteral("cameraPresets/Q2Ft")); // the name in URL-safe base64
        QStringList stored;
        for (const QString &key : settings.allKeys())
            stored << key + '=' + settings.value(key).toString();
        stored.sort();
        QCOMPARE(stored,
                 QStringList({"0/automatic=false", "0/value=60", "2/automatic=false", "2/value=50",
                              "deviceName=Cam"}));
    }

    // Apply, restore and the camera's defaults: what each sends, the status line, and the rebuilt
    // panel's first row.
    void presetButtons_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("refused");
        QTest::addColumn<QString>("outcome");
        const QString sent = "value 0 7, value 2 9, auto 2 1, value 3 11, auto 3 1, value 8 5";
        QTest::newRow("no preset") << "应用参数"
                                   << ""
                                   << " / 当前摄像头还没有已保存的设置 / 亮度 50";
        QTest::newRow("apply") << "应用参数"
                               << "value 3, auto 3"
                               << sent + " / 部分参数未应用：饱和度（成功 3 项） / 亮度 7";
        QTest::newRow("applied") << "应用参数"
                                 << "" << sent + " / 应用成功：已更新 4 项参数 / 亮度 7";
        const QString restored = "value 0 50, value 2 50, auto 2 0, value 3 50, auto 3 0, "
                                 "value 8 50, value 11 50, auto 11 1, value 16 1";
        QTest::newRow("restore") << "恢复初始设置"
                                 << "value 0, auto 2"
                                 << restored
                + " / 部分参数未恢复：亮度、色相（成功 5 项） / 亮度 50";
        QTest::newRow("restored") << "恢复初始设置"
                                  << "" << restored + " / 恢复成功：已恢复 6 项初始设置 / 亮度 50";
        const QString defaults = "value 0 40, value 2 40, value 3 40, value 8 40, value 11 40, "
                                 "auto 11 1, value 16 1";
        QTest::newRow("defaults") << "恢复出厂默认"
                                  << "value 2, auto 11"
                                  << defaults
                + " / 出厂默认未全部设置：成功 5 项，被拒绝 2 项（色相、对焦） / 亮度 40";
        QTest::newRow("defaults set") << "恢复出厂默认"
                                      << "" << defaults + " / 已恢复出厂默认：6 项参数 / 亮度 40";
    }

    void presetButtons()
    {
        QFETCH(QString, button);
        QFETCH(QString, refused);
        // Gain (8) has no automatic mode to switch to, focus (11) no key, and anti-flicker (16)
        // came after this preset was saved; pan (12) is not listed.
        show({control(Brightness), control(Hue, true), control(Saturation, true), control(Gain),
              control(Focus, true, true), control(PowerLineFrequency)});
        const QVariantMap stored {{"deviceName", "Cam"},
                                  {"0/value", 7},
                                  {"2/value", 9},
                                  {"2/automatic", true},
                                  {"3/value", 11},
                                  {"3/automatic", true},
                                  {"8/value", qint64(1) << 32 | 5},
                                  {"8/automatic", true},
                                  {"12/value", 1}};
        for (auto it = stored.cbegin();
             QTest::currentDataTag() != QLatin1String("no preset") && it != stored.cend(); ++it)
            QSettings().setValue(access.presetGroupKey() + '/' + it.key(), it.value());
        controls->refused = refused.split(QStringLiteral(", "), Qt::SkipEmptyParts);
        click(button);
        QTEST(controls->calls.join(", ") + " / " + access.status() + " / "
                  + describe(access.colorExposureLayout()).at(1),
              "outcome");
    }

    void exposureAndZoom_data()
    {
        QTest::addColumn<ExposureAndZoom>("reported");
        QTest::addColumn<bool>("nativeZoom");
        QTest::addColumn<QString>("shown"); // exposure compensation; zoom
        QTest::newRow("half away from zero")
            << ExposureAndZoom {true, -0.125f, 1.0f, 4.0f, 2.5f} << false
            << "shown -400..400 at -13, -0.1; shown 100..400 at 250, 2.5×";
        QTest::newRow("nothing, or an infinite zoom")
            << ExposureAndZoom {false, 0, 1.0f, INFINITY, 1.0f} << false
            << "hidden, --; hidden, --";
        QTest::newRow("the camera's own zoom row instead")
            << ExposureAndZoom {false, 0, 1.0f, 2.0f, 1.0f} << true
            << "hidden, --; hidden 100..200 at 100, 1.0×";
    }

    void exposureAndZoom()
    {
        QFETCH(ExposureAndZoom, reported);
        QFETCH(bool, nativeZoom);
        show(nativeZoom ? QList {control(Zoom)} : QList<NativeControl> {});
        access.showExposureAndZoom(reported);
        QTEST(sliderLine(access.exposureCompSlider(), access.exposureCompValueLabel()) + "; "
                  + sliderLine(access.zoomSlider(), access.zoomValueLabel()),
              "shown");
    }

private:
    void show(const QList<NativeControl> &list, const QString &error = {})
    {
        auto recording = std::make_unique<RecordingControls>();
        controls = recording.get();
        controls->list = list;
        controls->error = error;
        access.useNativeControls(std::move(recording), QStringLiteral("Cam"));
    }
    QWidget *row(int id) const
    {
        return findRow(&access.window(), QString::fromUtf8(findControlDescriptor(id)->name));
    }
    void click(const QString &text)
    {
        for (auto *button : access.presetButtonsRow()->findChildren<QPushButton *>())
            if (button->text() == text)
                button->click();
    }

    MainWindowTestAccess access; // one window for every case
    RecordingControls *controls = nullptr;
};

TARVELO_TEST_MAIN(TestControlsPanel)
#include "tst_controlspanel.moc"
