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
    QStringList calls, refused;
    int rounding = 1;

    bool open(const QString &) override { return !list.isEmpty(); }
    QList<NativeControl> controls() const override { return list; }
    QString lastError() const override { return {}; }
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
        all[0].value = 60; // brightness, not at its initial value
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
        QVERIFY(controls->calls.isEmpty()); // building sends nothing
    }

    // Values go along the step, and the row shows what the camera took.
    void edits()
    {
        NativeControl saturation = control(Saturation, true);
        saturation.step = 5;
        show({saturation, control(PowerLineFrequency)});
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
        QCOMPARE(after("", [&] { row(Saturation)->findChild<QSlider *>()->setValue(61); }),
                 "饱和度 60 [auto off], 防闪烁 50 Hz / ");
        controls->rounding = 10;
        QCOMPARE(after("", [&] { spinBox->setValue(73); }),
                 "饱和度 70 [auto off], 防闪烁 50 Hz / ");
        QCOMPARE(after("value 3", [&] { spinBox->setValue(80); }),
                 "饱和度 70 [auto off], 防闪烁 50 Hz / 饱和度设置失败，摄像头未接受该数值");
        QCOMPARE(after("", [&] { automatic->click(), selector->setCurrentIndex(0); }),
                 "饱和度 70 [auto on] locked hint, 防闪烁 关闭 / ");
        QCOMPARE(controls->calls.join(", "),
                 "value 3 60, value 3 75, value 3 80, "
                 "auto 3 1, value 16 0");
    }

    // The preset row: what each button sends, the status line, the rebuilt panel's first row and
    // the stored preset, also while the camera is being left (when nothing may reach it, and
    // nothing be stored under its name).
    void presetButtons_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<bool>("leaving");
        QTest::addColumn<QString>("refused");
        QTest::addColumn<QString>("outcome");
        QTest::newRow("no preset") << "应用参数" << false << ""
                                   << " / 当前摄像头还没有已保存的设置 / 亮度 50";
        QTest::newRow("apply") << "应用参数" << false << "value 3, auto 3"
                               << "value 0 7, value 2 9, auto 2 1, value 3 11, auto 3 1, value 8 5 "
                                  "/ 部分参数未应用：饱和度（成功 3 项） / 亮度 7";
        const QString leaving = " / 检测到摄像头变化，正在重新连接… / 亮度 50 locked";
        QTest::newRow("apply while leaving") << "应用参数" << true << "" << leaving;
        QTest::newRow("save while leaving") << "保存参数" << true << "" << leaving + " / 9 keys, 7";
        // The key of an unlisted control (pan, 12) does not survive.
        QTest::newRow("save") << "保存参数" << false << ""
                              << " / 保存成功：已保存“Cam”的 6 项参数 / 亮度 50 / 13 keys, 50";
        const QString defaults = "value 0 40, value 2 40, value 3 40, value 8 40, value 11 40, "
                                 "auto 11 1, value 16 1 / ";
        QTest::newRow("defaults") << "恢复出厂默认" << false << "value 2, auto 11"
                                  << defaults
                + "出厂默认未全部设置：成功 5 项，被拒绝 2 项（色相、对焦） / 亮度 40";
        QTest::newRow("defaults set")
            << "恢复出厂默认" << false << "" << defaults + "已恢复出厂默认：6 项参数 / 亮度 40";
    }

    void presetButtons()
    {
        QFETCH(QString, button);
        QFETCH(bool, leaving);
        QFETCH(QString, refused);
        // Gain (8) has no automatic mode to switch to, focus (11) no key, and anti-flicker (16)
        // came after this preset was saved.
        show({control(Brightness), control(Hue, true), control(Saturation, true), control(Gain),
              control(Focus, true, true), control(PowerLineFrequency)});
        QSettings settings;
        settings.beginGroup(QStringLiteral("cameraPresets/Q2Ft")); // "Cam", URL-safe base64
        for (const QString entry :
             {"deviceName=Cam", "0/value=7", "2/value=9", "2/automatic=true", "3/value=11",
              "3/automatic=true", "8/value=4294967301", "8/automatic=true", "12/value=1"})
            if (QTest::currentDataTag() != QByteArray("no preset"))
                settings.setValue(entry.section('=', 0, 0), entry.section('=', 1));
        if (leaving) {
            access.handleDeviceChange();
            access.deviceChangeTimer().stop();
        }
        controls->refused = refused.split(QStringLiteral(", "), Qt::SkipEmptyParts);
        click(button);
        QTEST(controls->calls.join(", ") + " / " + access.status() + " / "
                  + describe(access.colorExposureLayout()).at(1)
                  + (button == "保存参数" ? QString(" / %1 keys, %2")
                                                .arg(settings.allKeys().size())
                                                .arg(settings.value("0/value").toInt())
                                          : ""),
              "outcome");
    }

    void exposureAndZoom_data()
    {
        QTest::addColumn<ExposureAndZoom>("reported");
        QTest::addColumn<QString>("shown"); // exposure compensation; zoom
        QTest::newRow("half away from zero")
            << ExposureAndZoom {true, -0.125f, 1.0f, 4.0f, 2.5f}
            << "shown -400..400 at -13, -0.1; shown 100..400 at 250, 2.5×";
        QTest::newRow("nothing, or an infinite zoom")
            << ExposureAndZoom {false, 0, 1.0f, INFINITY, 1.0f} << "hidden, --; hidden, --";
    }

    void exposureAndZoom()
    {
        QFETCH(ExposureAndZoom, reported);
        show({});
        access.showExposureAndZoom(reported);
        QTEST(sliderLine(access.exposureCompSlider(), access.exposureCompValueLabel()) + "; "
                  + sliderLine(access.zoomSlider(), access.zoomValueLabel()),
              "shown");
    }

private:
    void show(const QList<NativeControl> &list)
    {
        auto recording = std::make_unique<RecordingControls>();
        controls = recording.get();
        controls->list = list;
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
