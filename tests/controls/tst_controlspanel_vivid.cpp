// The whole window's controls panel against the kernel's vivid driver, inside the vivid virtual
// machine (scripts/vivid-check.sh); every edit is read back from the driver with v4l2-ctl.
// Without vivid it exits with 77, which CTest reports as skipped.

#include "mainwindowtestaccess.h"
#include "panelrows.h"
#include "testmain.h"
#include "vividdriver.h"

#include <QProcess>
#include <QRegularExpression>

#include <climits>

namespace {
// "brightness,gain" → {"brightness": 200, "gain": 42}, as the driver reports them.
QMap<QString, int> driverValues(const QString &names)
{
    QProcess ctl;
    ctl.start(QStringLiteral("v4l2-ctl"),
              {QStringLiteral("-d"), VividDriver::captureNode(), QStringLiteral("-C"), names});
    ctl.waitForFinished(10000);
    QMap<QString, int> values;
    static const QRegularExpression line(QStringLiteral("^(\\w+): (-?\\d+)$"),
                                         QRegularExpression::MultilineOption);
    auto matches = line.globalMatch(QString::fromUtf8(ctl.readAllStandardOutput()));
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        values.insert(match.captured(1), match.captured(2).toInt());
    }
    return values;
}

int driverValue(const QString &name)
{
    return driverValues(name).value(name, INT_MIN);
}

void drag(QSlider *slider, int to)
{
    slider->setSliderDown(true);
    for (int position = slider->value(); position != to; position += to > position ? 1 : -1)
        slider->setSliderPosition(position);
    slider->setSliderPosition(to);
    slider->setSliderDown(false);
}
} // namespace

class TestControlsPanelVivid : public QObject
{
    Q_OBJECT

private slots:
    void editSaveApplyRestoreAndReplug();
};

void TestControlsPanelVivid::editSaveApplyRestoreAndReplug()
{
    QTRY_VERIFY_WITH_TIMEOUT(!QMediaDevices::videoInputs().isEmpty(), 60000);
    // The driver's own default, whatever an earlier check left.
    QVERIFY(
        QProcess::execute("v4l2-ctl", {"-d", VividDriver::captureNode(), "-c", "gain_automatic=1"})
        == 0);
    const QMap<QString, int> opening = driverValues(QStringLiteral("brightness,gain_automatic"));
    QCOMPARE(opening.value(QStringLiteral("gain_automatic")), 1);

    MainWindow window;
    MainWindowTestAccess access(window);
    // Edits after the first frame, whose status line would replace the presets' messages.
    QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  预览正常"), 60000);
    QVERIFY(access.presetButtonsRow()->isEnabled());
    QStringList rows = describe(access.colorExposureLayout());
    QCOMPARE(rows.size(), 6);
    QCOMPARE(rows.first(), QStringLiteral("已识别 5 项可调参数，仅显示当前摄像头支持的项目。"));
    const QStringList titles = {"亮度", "对比度", "色相", "饱和度", "增益"};
    for (int i = 0; i < titles.size(); ++i)
        QVERIFY2(rows.at(i + 1).startsWith(titles.at(i) + ' '), qPrintable(rows.at(i + 1)));
    QVERIFY2(rows.last().endsWith("[auto on] locked hint"), qPrintable(rows.last()));

    // A typed brightness, then gain by hand: off automatic, then dragged.
    findRow(&window, "亮度")->findChild<QSpinBox *>()->setValue(200);
    QCOMPARE(driverValue("brightness"), 200);
    QWidget *gain = findRow(&window, "增益");
    gain->findChild<QCheckBox *>()->click();
    drag(gain->findChild<QSlider *>(), 42);
    QCOMPARE(driverValues("gain,gain_automatic"),
             (QMap<QString, int> {{"gain", 42}, {"gain_automatic", 0}}));

    const auto click = [&](const QString &text) {
        for (auto *button : access.presetButtonsRow()->findChildren<QPushButton *>()) {
            if (button->text() == text)
                button->click();
        }
    };
    click("保存参数");
    QCOMPARE(access.status(), QStringLiteral("保存成功：已保存“vivid”的 5 项参数"));
    findRow(&window, "亮度")->findChild<QSpinBox *>()->setValue(10);
    QCOMPARE(driverValue("brightness"), 10);
    click("应用参数");
    QCOMPARE(access.status(), QStringLiteral("应用成功：已更新 5 项参数"));
    QCOMPARE(driverValues("brightness,gain,gain_automatic"),
             (QMap<QString, int> {{"brightness", 200}, {"gain", 42}, {"gain_automatic", 0}}));

    click("恢复初始设置");
    QCOMPARE(access.status(), QStringLiteral("恢复成功：已恢复 5 项初始设置"));
    QCOMPARE(driverValues("brightness,gain_automatic"), opening);
    QVERIFY(describe(access.colorExposureLayout()).last().endsWith("[auto on] locked hint"));

    // Unplugged and back: the rebuilt panel edits the new device.
    QVERIFY(VividDriver::setBound(false));
    QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  设备变化"), 30000);
    QTest::qWait(3000);
    QVERIFY(VividDriver::setBound(true));
    QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  预览正常"), 60000);
    QTRY_VERIFY_WITH_TIMEOUT(findRow(&window, "亮度"), 10000);
    findRow(&window, "亮度")->findChild<QSpinBox *>()->setValue(77);
    QCOMPARE(driverValue("brightness"), 77);
}

TARVELO_TEST_MAIN_WITH(TestControlsPanelVivid, if (VividDriver::captureNode().isEmpty()) return 77)
#include "tst_controlspanel_vivid.moc"
