#include "controls/ReportList.h"

#include "components/Error.h"
#include "controls/CheckPainter.h"

#include <QApplication>

#include <QHeaderView>
#include <QMouseEvent>
#include <QPainter>
#include <QStyledItemDelegate>
#include <functional>

namespace {

// Check boxes are toggled by the user only through the delegate (mouse or Space), so this is
// where a user's toggle can be told apart from a change made in code.
class ToggleReportingDelegate final : public QStyledItemDelegate {
public:
    ToggleReportingDelegate(QObject* parent, std::function<void(const QModelIndex&)> onToggle)
        : QStyledItemDelegate(parent), m_onToggle(std::move(onToggle)) {}

    bool editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override {
        const QVariant before = index.data(Qt::CheckStateRole);
        const bool handled = QStyledItemDelegate::editorEvent(event, model, option, index);
        if (handled && before.isValid() && index.data(Qt::CheckStateRole) != before)
            m_onToggle(index);
        return handled;
    }

    // The check box is drawn in the look of the skinned check box, over the style's own.
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        QStyledItemDelegate::paint(painter, option, index);
        const QVariant state = index.data(Qt::CheckStateRole);
        if (!state.isValid())
            return;
        QStyleOptionViewItem item = option;
        initStyleOption(&item, index);
        const QWidget* view = option.widget;
        QStyle* style = view ? view->style() : QApplication::style();
        const QRect box = style->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &item, view);
        CheckLook look;
        look.checked = state.value<Qt::CheckState>() != Qt::Unchecked;
        look.enabled = (option.state & QStyle::State_Enabled) != 0;
        const int side = qMin(box.width(), box.height());
        const QRect square(box.x() + (box.width() - side) / 2, box.y() + (box.height() - side) / 2,
                           side, side);
        paintCheck(*painter, QRectF(square), option.palette, look);
    }

private:
    std::function<void(const QModelIndex&)> m_onToggle;
};

constexpr Qt::ItemFlags kRowFlags =
    Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsUserCheckable | Qt::ItemNeverHasChildren;

} // namespace

ReportList::ReportList(QWidget* parent) : QTreeWidget(parent) {
    setRootIsDecorated(false);
    setItemsExpandable(false);
    setAllColumnsShowFocus(true);
    setAlternatingRowColors(true);
    setUniformRowHeights(true);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    header()->setStretchLastSection(true);
    header()->setSectionsMovable(false);
    setItemDelegate(new ToggleReportingDelegate(
        this, [this](const QModelIndex& index) { userToggled(index); }));
}

void ReportList::setColumnHeaders(const QStringList& headers) {
    setColumnCount(qMax<int>(1, headers.size()));
    setHeaderLabels(headers);
}

void ReportList::setCheckBoxes(bool on) {
    if (on == m_checkBoxes)
        return;
    m_checkBoxes = on;
    for (int i = 0; i < topLevelItemCount(); ++i) {
        QTreeWidgetItem* row = topLevelItem(i);
        // Without a check state the delegate draws no box at all.
        row->setData(0, Qt::CheckStateRole, on ? QVariant(Qt::Unchecked) : QVariant());
    }
}

qint32 ReportList::Count() const {
    return topLevelItemCount();
}

qint32 ReportList::Add(const QString& text) {
    auto* row = new QTreeWidgetItem(QStringList{text});
    row->setFlags(kRowFlags);
    if (m_checkBoxes)
        row->setCheckState(0, m_checkNewRows ? Qt::Checked : Qt::Unchecked);
    addTopLevelItem(row);
    return Count();
}

QTreeWidgetItem* ReportList::item(qint32 row) const {
    if (row < 1 || row > Count()) {
        const QString list = objectName().isEmpty() ? QStringLiteral("the list") : objectName();
        throw IndexError(
            QStringLiteral("row %1 of %2, which has %3 rows").arg(row).arg(list).arg(Count()));
    }
    return topLevelItem(row - 1);
}

void ReportList::checkSubItem(int sub) const {
    if (sub < 1 || sub >= columnCount()) {
        const QString list = objectName().isEmpty() ? QStringLiteral("the list") : objectName();
        throw IndexError(QStringLiteral("sub-item %1 of %2, which has %3 sub-items")
                             .arg(sub)
                             .arg(list)
                             .arg(columnCount() - 1));
    }
}

QString ReportList::Text(qint32 row) const {
    return item(row)->text(0);
}

void ReportList::setText(qint32 row, const QString& text) {
    item(row)->setText(0, text);
}

QString ReportList::SubItem(qint32 row, int sub) const {
    QTreeWidgetItem* it = item(row);
    checkSubItem(sub);
    return it->text(sub);
}

void ReportList::setSubItem(qint32 row, int sub, const QString& text) {
    QTreeWidgetItem* it = item(row);
    checkSubItem(sub);
    it->setText(sub, text);
}

bool ReportList::Checked(qint32 row) const {
    QTreeWidgetItem* it = item(row);
    return m_checkBoxes && it->checkState(0) == Qt::Checked;
}

void ReportList::setChecked(qint32 row, bool checked) {
    QTreeWidgetItem* it = item(row);
    // A list without check boxes keeps no check state, so there is nothing to show or keep.
    if (m_checkBoxes)
        it->setCheckState(0, checked ? Qt::Checked : Qt::Unchecked);
}

bool ReportList::Selected(qint32 row) const {
    return item(row)->isSelected();
}

void ReportList::setSelected(qint32 row, bool selected) {
    item(row)->setSelected(selected);
}

qint32 ReportList::SelectedIndex() const {
    for (int i = 0; i < topLevelItemCount(); ++i) {
        if (topLevelItem(i)->isSelected())
            return i + 1;
    }
    return 0;
}

void ReportList::Clear() {
    clear();
}

void ReportList::Remove(qint32 row) {
    delete takeTopLevelItem(indexOfTopLevelItem(item(row)));
}

void ReportList::userToggled(const QModelIndex& index) {
    if (!index.parent().isValid())
        Q_EMIT ItemCheck(index.row() + 1);
}

void ReportList::mouseDoubleClickEvent(QMouseEvent* event) {
    QTreeWidget::mouseDoubleClickEvent(event);
    if (event->button() == Qt::LeftButton)
        Q_EMIT DblClick();
}

void ReportList::mouseReleaseEvent(QMouseEvent* event) {
    QTreeWidget::mouseReleaseEvent(event);
    if (event->button() == Qt::RightButton)
        Q_EMIT RightButtonUp(event->globalPosition().toPoint());
}
