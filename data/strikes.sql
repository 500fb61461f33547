-- The strikes as a normalised database. Links are named by their constraint, so each has a name.
-- In the source every airport lies in one state, which is checked at the end; an animal of one
-- species is reported in several sizes, so the size stays with the strike.

CREATE TEMP TABLE raw(
    airport TEXT, aircraft TEXT, damage TEXT, flight_date TEXT, operator TEXT, state TEXT,
    phase TEXT, wildlife_size TEXT, species TEXT, time_of_day TEXT,
    cost_other TEXT, cost_repair TEXT, cost_total TEXT, speed TEXT);
.mode csv
.import --skip 1 --schema temp birdstrikes.csv raw

BEGIN;

CREATE TABLE states(
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE);

CREATE TABLE airports(
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE,
    state_id INTEGER NOT NULL,
    CONSTRAINT state FOREIGN KEY(state_id) REFERENCES states(id));

CREATE TABLE operators(
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE);

CREATE TABLE species(
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE);

CREATE TABLE aircraft(
    id INTEGER PRIMARY KEY,
    model TEXT NOT NULL UNIQUE);

CREATE TABLE strikes(
    id INTEGER PRIMARY KEY,
    flight_date DATE NOT NULL,
    airport_id INTEGER NOT NULL,
    operator_id INTEGER NOT NULL,
    aircraft_id INTEGER NOT NULL,
    species_id INTEGER NOT NULL,
    wildlife_size TEXT NOT NULL,
    phase_of_flight TEXT NOT NULL,
    time_of_day TEXT NOT NULL,
    damage TEXT NOT NULL,
    cost_other INTEGER NOT NULL,
    cost_repair INTEGER NOT NULL,
    cost_total INTEGER NOT NULL,
    speed_knots INTEGER,
    CONSTRAINT airport FOREIGN KEY(airport_id) REFERENCES airports(id),
    CONSTRAINT operator FOREIGN KEY(operator_id) REFERENCES operators(id),
    CONSTRAINT aircraft FOREIGN KEY(aircraft_id) REFERENCES aircraft(id),
    CONSTRAINT species FOREIGN KEY(species_id) REFERENCES species(id));

INSERT INTO states(name) SELECT DISTINCT state FROM raw ORDER BY state;
-- An airport in two states would break the unique name here, and nothing would be made.
INSERT INTO airports(name, state_id)
    SELECT DISTINCT raw.airport, states.id FROM raw JOIN states ON states.name = raw.state
    ORDER BY raw.airport;
INSERT INTO operators(name) SELECT DISTINCT operator FROM raw ORDER BY operator;
INSERT INTO species(name) SELECT DISTINCT species FROM raw ORDER BY species;
INSERT INTO aircraft(model) SELECT DISTINCT aircraft FROM raw ORDER BY aircraft;

-- A strike has no number of its own in the source: it gets its line's.
INSERT INTO strikes
    SELECT raw.rowid, raw.flight_date, airports.id, operators.id, aircraft.id, species.id,
        raw.wildlife_size, raw.phase, raw.time_of_day, raw.damage,
        raw.cost_other, raw.cost_repair, raw.cost_total, nullif(raw.speed, '')
    FROM raw
        JOIN airports ON airports.name = raw.airport
        JOIN operators ON operators.name = raw.operator
        JOIN aircraft ON aircraft.model = raw.aircraft
        JOIN species ON species.name = raw.species
    ORDER BY raw.rowid;

CREATE INDEX airports_state ON airports(state_id);
CREATE INDEX strikes_airport ON strikes(airport_id);
CREATE INDEX strikes_operator ON strikes(operator_id);
CREATE INDEX strikes_aircraft ON strikes(aircraft_id);
CREATE INDEX strikes_species ON strikes(species_id);

COMMIT;
