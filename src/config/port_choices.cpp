#include "config/port_choices.h"

#include "platform/serial_comm_control.h"

#include <QComboBox>
#include <QStyledItemDelegate>

namespace config {

namespace {

// Shows each device's label beside its name in the open list; the box itself, and the setting,
// take the name alone.
class LabelledPortDelegate final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
        QStyledItemDelegate::initStyleOption(option, index);
        const QString label = index.data(Qt::ToolTipRole).toString();
        if (!label.isEmpty())
            option->text += QStringLiteral("   ") + label;
    }
};

} // namespace

void FillPortChoices(QComboBox& combo) {
    if (!dynamic_cast<LabelledPortDelegate*>(combo.itemDelegate()))
        combo.setItemDelegate(new LabelledPortDelegate(&combo));
    combo.clear();
    for (int number = 1; number <= 4; ++number)
        combo.addItem(QStringLiteral(" %1").arg(number)); // a positive number's leading blank
    for (const platform::SerialPortChoice& choice : platform::availableSerialPorts()) {
        combo.addItem(choice.port);
        combo.setItemData(combo.count() - 1, choice.label, Qt::ToolTipRole);
    }
}

} // namespace config
