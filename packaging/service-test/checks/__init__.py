"""The checks in their order, as one builds on what the others leave."""
from checks.bus import other_device_is_refused, real_port_is_used, serial_line_delivers
from checks.inspector import (inspector_boots, inspector_is_hardened, inspector_is_limited,
                              inspector_removal_stops_it, inspector_shows_the_home,
                              inspector_survives_the_reader, installed_inspector_is_off)
from checks.log import journal_is_complete
from checks.memory import memory_is_limited
from checks.packages import (installed_anew_it_runs, removal_stops_it, upgrade_leaves_it_off,
                             upgrade_restarts_it_once)
from checks.rights import exposure_is_low, process_is_hardened, rights_are_refused
from checks.start import abort_is_survived, boot_starts_it, installation_starts_it, kill_is_survived

CHECKS = [
    installation_starts_it, boot_starts_it, serial_line_delivers, real_port_is_used,
    other_device_is_refused, kill_is_survived, abort_is_survived, journal_is_complete,
    exposure_is_low, process_is_hardened, rights_are_refused, memory_is_limited,
    upgrade_restarts_it_once, upgrade_leaves_it_off, removal_stops_it, installed_anew_it_runs,
    installed_inspector_is_off, inspector_shows_the_home, inspector_survives_the_reader, inspector_boots,
    inspector_is_hardened, inspector_is_limited, inspector_removal_stops_it,
]
