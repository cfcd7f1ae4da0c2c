import com.zelvox.qorbetta.Model;
import com.zelvox.qorbetta.ModelDescription;

/**
 * The motor of examples/dcmotor with variables by index instead of fields: what its step takes
 * without the way of the values to and from fields.
 */
public class IndexMotor implements Model {
    private static final int VOLTAGE = 0;
    private static final int LOAD = 1;

    private static final int SPEED = 0;
    private static final int CURRENT = 1;

    private double J;
    private double b;
    private double k;
    private double R;
    private double L;

    private double speed;
    private double current;

    @Override
    public ModelDescription describe() {
        return ModelDescription.named("IndexMotor")
                .input("voltage", "V", "", 0)
                .input("load", "N.m", "", 0)
                .output("speed", "rad/s", "")
                .output("current", "A", "")
                .parameter("J", "kg.m2", "", 1e-4)
                .parameter("b", "N.m.s/rad", "", 1e-5)
                .parameter("k", "N.m/A", "", 0.05)
                .parameter("R", "Ohm", "", 0.5)
                .parameter("L", "H", "", 1e-3)
                .experiment(0, 0.5, 1e-3)
                .build();
    }

    /** The cases follow the order in which the parameters are declared above. */
    @Override
    public void set(int parameter, double value) {
        switch (parameter) {
            case 0: J = value; break;
            case 1: b = value; break;
            case 2: k = value; break;
            case 3: R = value; break;
            case 4: L = value; break;
            default: throw new IllegalArgumentException("no parameter " + parameter);
        }
    }

    @Override
    public void initialize(double[] inputs, double[] outputs) {
        speed = 0;
        current = 0;
        report(outputs);
    }

    @Override
    public void step(double time, double stepSize, double[] inputs, double[] outputs) {
        // The importer chooses the communication step. Accuracy is the model's own affair: it
        // divides the step until its parts are short against the fastest motion, which is no faster
        // than this.
        double rate = Math.max(b / J, R / L) + k / Math.sqrt(J * L);
        long substeps = Math.max(1, (long) Math.ceil(rate * stepSize / 0.05));
        for (long n = 0; n < substeps; n++) {
            integrate(stepSize / substeps, inputs[VOLTAGE], inputs[LOAD]);
        }
        report(outputs);
    }

    /** One step of the classical Runge-Kutta method of fourth order. */
    private void integrate(double h, double voltage, double load) {
        double w1 = acceleration(speed, current, load);
        double i1 = currentRate(speed, current, voltage);
        double w2 = acceleration(speed + h / 2 * w1, current + h / 2 * i1, load);
        double i2 = currentRate(speed + h / 2 * w1, current + h / 2 * i1, voltage);
        double w3 = acceleration(speed + h / 2 * w2, current + h / 2 * i2, load);
        double i3 = currentRate(speed + h / 2 * w2, current + h / 2 * i2, voltage);
        double w4 = acceleration(speed + h * w3, current + h * i3, load);
        double i4 = currentRate(speed + h * w3, current + h * i3, voltage);
        speed += h / 6 * (w1 + 2 * w2 + 2 * w3 + w4);
        current += h / 6 * (i1 + 2 * i2 + 2 * i3 + i4);
    }

    private double acceleration(double w, double i, double load) {
        return (k * i - b * w - load) / J;
    }

    private double currentRate(double w, double i, double voltage) {
        return (voltage - R * i - k * w) / L;
    }

    private void report(double[] outputs) {
        outputs[SPEED] = speed;
        outputs[CURRENT] = current;
    }
}
