#include "platform/linux/desktop/TaskIds.h"

#include "LumbroCore/Literals.h"

#include <QHash>
#include <QStringList>
#include <QUuid>

namespace lumbro::taskIds {

void set(QList<CalendarTask>& tasks, const QString& list, const QDate& today) {
    static const QUuid space(u"{6d0ec5ad-9d4d-5a4e-8ae2-5a0e4ff4c0d3}"_s);
    QHash<QString, int> before;
    for (CalendarTask& task : tasks) {
        const QString due = task.due ? task.due->toString(Qt::ISODate) : QString();
        const QString said =
            QStringList{list, today.toString(Qt::ISODate), task.title, task.notes, due}.join(u'\n');
        const int count = before[said]++;
        task.id =
            QUuid::createUuidV5(space, said + u'\n' + QString::number(count)).toString(QUuid::WithoutBraces);
    }
}

}  // namespace lumbro::taskIds
