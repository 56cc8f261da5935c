// Linked into every program and test of the ThreadSanitizer build only (VNA_SANITIZE=thread).
//
// Qt is not instrumented, and QMutex::lock()/unlock() are compiled into libQt5Core, so
// ThreadSanitizer never sees a QMutex taken: every access guarded by one (traceLock, measLock)
// would be reported as a race. Queued signals have the same blind spot: the event queue that
// carries them to the GUI thread is guarded inside Qt.
//
// These definitions take the place of Qt's own (the program's definitions come first when
// symbols are bound), call through to Qt, and tell ThreadSanitizer what Qt guarantees:
// - a QMutex unlock happens before the next lock of that mutex;
// - emitting a signal or posting an event happens before any event the main thread handles
//   after it (one token for all events: coarser than Qt's queue per thread, never finer).
#include <QCoreApplication>
#include <QEvent>
#include <QMutex>
#include <QObject>
#include <dlfcn.h>

extern "C" void __tsan_acquire(void* addr);
extern "C" void __tsan_release(void* addr);

namespace
{
// Qt's own definition of a function this file replaces.
template <typename Fn>
Fn Real(const char* mangled)
{
    void* p = dlsym(RTLD_NEXT, mangled);
    if (p == nullptr)
    {
        abort();  // a Qt without the symbol: the build does not match the library
    }
    return reinterpret_cast<Fn>(p);
}

char eventToken;

class EventOrder : public QObject
{
public:
    bool eventFilter(QObject*, QEvent*) override
    {
        __tsan_acquire(&eventToken);
        return false;
    }
};

void InstallEventOrder()
{
    QCoreApplication::instance()->installEventFilter(new EventOrder);
}
Q_COREAPP_STARTUP_FUNCTION(InstallEventOrder)
}  // namespace

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT
{
    static const auto real = Real<void (*)(QMutex*)>("_ZN6QMutex4lockEv");
    real(this);
    __tsan_acquire(this);
}

bool QMutex::tryLock(int timeout) QT_MUTEX_LOCK_NOEXCEPT
{
    static const auto real = Real<bool (*)(QMutex*, int)>("_ZN6QMutex7tryLockEi");
    const bool locked = real(this, timeout);
    if (locked)
    {
        __tsan_acquire(this);
    }
    return locked;
}

void QMutex::unlock() noexcept
{
    static const auto real = Real<void (*)(QMutex*)>("_ZN6QMutex6unlockEv");
    __tsan_release(this);
    real(this);
}

void QMetaObject::activate(QObject* sender, const QMetaObject* meta, int local, void** argv)
{
    static const auto real = Real<void (*)(QObject*, const QMetaObject*, int, void**)>(
        "_ZN11QMetaObject8activateEP7QObjectPKS_iPPv");
    __tsan_release(&eventToken);
    real(sender, meta, local, argv);
}

void QCoreApplication::postEvent(QObject* receiver, QEvent* event, int priority)
{
    static const auto real =
        Real<void (*)(QObject*, QEvent*, int)>("_ZN16QCoreApplication9postEventEP7QObjectP6QEventi");
    __tsan_release(&eventToken);
    real(receiver, event, priority);
}
