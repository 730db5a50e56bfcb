#pragma once

#include <QPoint>
#include <QStringList>
#include <QTreeWidget>

// A report-view list: columns with headers, one line per row, optional check boxes, and
// sub-items in the columns after the first. Rows are numbered from 1, and a row number
// outside 1..Count() raises IndexError, as the windows expect of a list control.
class ReportList : public QTreeWidget {
    Q_OBJECT

public:
    explicit ReportList(QWidget* parent = nullptr);

    void setColumnHeaders(const QStringList& headers);
    void setCheckBoxes(bool on);
    bool checkBoxes() const { return m_checkBoxes; }
    // New rows start checked (with check boxes on).
    void setCheckNewRows(bool on) { m_checkNewRows = on; }

    qint32 Count() const;
    // Appends a row and returns its 1-based number.
    qint32 Add(const QString& text);
    QString Text(qint32 row) const;
    void setText(qint32 row, const QString& text);
    // Sub-items are numbered from 1: sub-item 1 is the second column.
    QString SubItem(qint32 row, int sub) const;
    void setSubItem(qint32 row, int sub, const QString& text);
    bool Checked(qint32 row) const;
    void setChecked(qint32 row, bool checked);
    bool Selected(qint32 row) const;
    void setSelected(qint32 row, bool selected);
    // The first selected row, 0 when none is.
    qint32 SelectedIndex() const;
    void Clear();
    void Remove(qint32 row);

Q_SIGNALS:
    // The user ticked or unticked the check box of a row. Not sent for changes made in code.
    void ItemCheck(qint32 row);
    void DblClick();
    void RightButtonUp(QPoint globalPos);

protected:
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    QTreeWidgetItem* item(qint32 row) const;
    void checkSubItem(int sub) const;
    void userToggled(const QModelIndex& index);

    bool m_checkBoxes = false;
    bool m_checkNewRows = false;
};
