package com.acme;

import com.zelvox.qorbetta.DefaultExperiment;
import com.zelvox.qorbetta.DisplayUnit;
import com.zelvox.qorbetta.FieldModel;
import com.zelvox.qorbetta.Input;
import com.zelvox.qorbetta.ModelInfo;
import com.zelvox.qorbetta.Output;
import com.zelvox.qorbetta.Parameter;
import com.zelvox.qorbetta.UnitDefinition;

/**
 * A DC motor with a load on its shaft, at rest until the start time:
 *
 * <pre>
 *   J dw/dt = k i - b w - load        w: speed of the shaft
 *   L di/dt = voltage - R i - k w     i: current in the armature
 * </pre>
 */
@ModelInfo(description = "DC motor with a load on its shaft", version = "1.0")
@DefaultExperiment(stopTime = 0.5, stepSize = 1e-3)
@UnitDefinition(name = "V", kg = 1, m = 2, s = -3, A = -1)
@UnitDefinition(name = "A", A = 1)
@UnitDefinition(name = "N.m", kg = 1, m = 2, s = -2)
@UnitDefinition(name = "rad/s", rad = 1, s = -1,
        displayUnits = @DisplayUnit(name = "rpm", factor = Math.PI / 30))
@UnitDefinition(name = "kg.m2", kg = 1, m = 2)
@UnitDefinition(name = "N.m.s/rad", kg = 1, m = 2, s = -1, rad = -1)
@UnitDefinition(name = "N.m/A", kg = 1, m = 2, s = -2, A = -1)
@UnitDefinition(name = "Ohm", kg = 1, m = 2, s = -3, A = -2)
@UnitDefinition(name = "H", kg = 1, m = 2, s = -2, A = -2)
public class DcMotor extends FieldModel {
    @Input(unit = "V", description = "voltage at the armature")
    private double voltage;

    @Input(unit = "N.m", description = "torque that the load takes from the shaft")
    private double load;

    @Output(unit = "rad/s", description = "speed of the shaft", nominal = 100)
    private double speed;

    @Output(unit = "A", description = "current in the armature")
    private double current;

    @Parameter(unit = "kg.m2", description = "inertia of rotor and load", min = 1e-7, max = 1e3)
    private double J = 1e-4;

    @Parameter(unit = "N.m.s/rad", description = "viscous friction", min = 0, max = 1e3)
    private double b = 1e-5;

    @Parameter(unit = "N.m/A", description = "torque per current", min = 0, max = 1e3)
    private double k = 0.05;

    @Parameter(unit = "Ohm", description = "resistance of the armature", min = 0, max = 1e3)
    private double R = 0.5;

    @Parameter(unit = "H", description = "inductance of the armature", min = 1e-6, max = 1e3)
    private double L = 1e-3;

    @Override
    protected void step(double time, double stepSize) {
        // The importer chooses the communication step. Accuracy is the model's own affair: it
        // divides the step until its parts are short against the fastest motion, which is no faster
        // than this.
        double rate = Math.max(b / J, R / L) + k / Math.sqrt(J * L);
        long substeps = Math.max(1, (long) Math.ceil(rate * stepSize / 0.05));
        for (long n = 0; n < substeps; n++) {
            integrate(stepSize / substeps);
        }
    }

    /** One step of the classical Runge-Kutta method of fourth order. */
    private void integrate(double h) {
        double w1 = acceleration(speed, current);
        double i1 = currentRate(speed, current);
        double w2 = acceleration(speed + h / 2 * w1, current + h / 2 * i1);
        double i2 = currentRate(speed + h / 2 * w1, current + h / 2 * i1);
        double w3 = acceleration(speed + h / 2 * w2, current + h / 2 * i2);
        double i3 = currentRate(speed + h / 2 * w2, current + h / 2 * i2);
        double w4 = acceleration(speed + h * w3, current + h * i3);
        double i4 = currentRate(speed + h * w3, current + h * i3);
        speed += h / 6 * (w1 + 2 * w2 + 2 * w3 + w4);
        current += h / 6 * (i1 + 2 * i2 + 2 * i3 + i4);
    }

    private double acceleration(double w, double i) {
        return (k * i - b * w - load) / J;
    }

    private double currentRate(double w, double i) {
        return (voltage - R * i - k * w) / L;
    }
}
