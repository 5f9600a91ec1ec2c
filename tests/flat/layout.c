/* Widths and offsets as C has them, in C99 without extensions: what only C sees. The C example calls the functions. */
#include <stddef.h>

#include <tarvixsdk/flat.h>

#define HOLDS(name, condition) typedef char name[(condition) ? 1 : -1]

HOLDS(status, sizeof(StatusCode) == 2);
HOLDS(enumerations, sizeof(GpioPinNumber) == 4 && sizeof(GpioLogicLevel) == 4 && sizeof(I3cTransferFlags) == 4 &&
                        sizeof(NotificationKind) == 4);
HOLDS(flags, TARVIXSDK_OPEN_SHARED == 1 && TARVIXSDK_OPEN_PLAIN == 2); /* no signature names them for abidiff */
HOLDS(boolean, sizeof(bool) == 1);
HOLDS(target, sizeof(I3cTargetInfo) == 16);
HOLDS(transfer, sizeof(TarvixSDK_I2cTransfer) == 32 && offsetof(TarvixSDK_I2cTransfer, registerAddress) == 20);
HOLDS(configuration, sizeof(I3cTargetConfiguration) == 1);
HOLDS(notification, offsetof(Notification, data) == 8 && offsetof(Notification, length) == 16);
HOLDS(information, sizeof(TarvixSDK_DeviceInfo) == 10 * 8);
