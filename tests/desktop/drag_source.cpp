// A window from which files are dragged, as from a file manager's:
//   drag_source X Y [FILE...]
// stands at that place, and tells what becomes of each drag: "begun", then "accepted" or "refused".
#include <QApplication>
#include <QDrag>
#include <QMimeData>
#include <QMouseEvent>
#include <QUrl>
#include <QWidget>

#include <cstdio>
#include <cstdlib>

namespace {

void tell(const char *what)
{
    std::puts(what);
    std::fflush(stdout);
}

class source_window : public QWidget {
public:
    explicit source_window(QByteArray list) : uri_list(std::move(list)) {}

protected:
    void mousePressEvent(QMouseEvent *event) override
    {
        pressed = event->pos();
    }

    void mouseMoveEvent(QMouseEvent *event) override
    {
        if ((event->pos() - pressed).manhattanLength() < QApplication::startDragDistance())
            return;
        auto *offered = new QMimeData;
        offered->setData("text/uri-list", uri_list);
        auto *drag = new QDrag(this);
        drag->setMimeData(offered);
        tell("begun");
        const Qt::DropAction done = drag->exec(Qt::CopyAction | Qt::MoveAction, Qt::MoveAction);
        tell(done == Qt::CopyAction ? "accepted" : done == Qt::IgnoreAction ? "refused" : "moved");
    }

private:
    const QByteArray uri_list;
    QPoint pressed;
};

} // namespace

int main(int argc, char **argv)
{
    const QApplication application(argc, argv);
    QByteArray list;
    for (int i = 3; i < argc; ++i)
        list += "file://" + QByteArray(argv[i]).toPercentEncoding("/") + "\r\n";
    source_window window(list);
    window.setWindowTitle("source");
    window.setGeometry(argc > 1 ? std::atoi(argv[1]) : 0, argc > 2 ? std::atoi(argv[2]) : 0, 120,
                       120);
    window.show();
    return QApplication::exec();
}
